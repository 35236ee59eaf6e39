// The audio output's C face: handles, and arguments checked at the boundary.

#include "tonelink_platform/audio_out.h"

#include <climits>

#include "audio_output.h"
#include "handle_table.h"
#include "result.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

constexpr int kMono = 128;
constexpr int kSigned16LittleEndian = 113;

using output_table = handle_table<audio_out_h, audio_output>;

// Never destroyed: a device may play while the process ends.
output_table &outputs()
{
    static auto &table = *new output_table;
    return table;
}

/// Makes a call on an output, if there is one behind the handle.
template <class Call> int with_output(audio_out_h out, Call call)
{
    return at_boundary([&] {
        const auto output = outputs().find(out);
        return output != nullptr ? call(*output) : kInvalidParameter;
    });
}

} // namespace

} // namespace tonelink::host

using namespace tonelink::host;

int audio_out_create_new(int rate, int channel, int sample_type, audio_out_h *out)
{
    return at_boundary([&] {
        if (out == nullptr || channel != kMono || sample_type != kSigned16LittleEndian ||
            rate < audio_output::kLowestRate || rate > audio_output::kHighestRate)
            return kInvalidParameter;
        *out = outputs().add(std::make_shared<audio_output>(rate));
        return kOk;
    });
}

int audio_out_set_sound_stream_info(audio_out_h out, sound_stream_info_h info)
{
    return with_output(out, [&](audio_output &output) {
        auto stream = find_stream_info(info);
        return stream != nullptr ? output.bind(std::move(stream)) : kInvalidParameter;
    });
}

int audio_out_prepare(audio_out_h out)
{
    return with_output(out, [](audio_output &output) { return output.prepare(); });
}

int audio_out_unprepare(audio_out_h out)
{
    return with_output(out, [](audio_output &output) { return output.unprepare(); });
}

int audio_out_destroy(audio_out_h out)
{
    return with_output(out, [&](audio_output &output) {
        const int result = output.close();
        if (result != kOk) return result;
        return outputs().remove(out) ? kOk : kInvalidParameter;
    });
}

int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes)
{
    return with_output(out, [&](audio_output &output) {
        if ((buffer == nullptr && bytes > 0) || bytes % 2 != 0 || bytes > INT_MAX)
            return kInvalidBuffer;
        return output.write({static_cast<const std::byte *>(buffer), bytes});
    });
}

int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data)
{
    return with_output(out, [&](audio_output &output) {
        if (callback == nullptr) return kInvalidParameter;
        return output.set_callback({callback, out, user_data});
    });
}

int audio_out_unset_stream_cb(audio_out_h out)
{
    return with_output(out, [](audio_output &output) { return output.unset_callback(); });
}

uint64_t tonelink_host_get_samples_played(void) { return samples_played(); }
