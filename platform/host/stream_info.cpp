#include "stream_info.h"

#include "handle_table.h"
#include "result.h"

namespace tonelink::host {

namespace {

constexpr int kHighestStreamType = 15;

using stream_info_table = handle_table<sound_stream_info_h, stream_info>;

// Never destroyed: a thread may use it while the process ends.
stream_info_table &stream_infos()
{
    static auto &table = *new stream_info_table;
    return table;
}

} // namespace

std::shared_ptr<stream_info> find_stream_info(sound_stream_info_h handle)
{
    return stream_infos().find(handle);
}

} // namespace tonelink::host

using namespace tonelink::host;

int sound_manager_create_stream_information(int type, void *, void *, sound_stream_info_h *info)
{
    return at_boundary([&] {
        if (info == nullptr || type < 0 || type > kHighestStreamType) return kInvalidParameter;
        *info = stream_infos().add(std::make_shared<stream_info>());
        return kOk;
    });
}

int sound_manager_destroy_stream_information(sound_stream_info_h info)
{
    return at_boundary([&] {
        if (stream_infos().is_in_use(info)) return kInvalidOperation;
        return stream_infos().remove(info) ? kOk : kInvalidParameter;
    });
}
