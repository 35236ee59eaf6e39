// System information: the one switch that the library reads.

#include "tonelink_platform/system_info.h"

#include <string_view>

#include "result.h"
#include "setting.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

constexpr std::string_view kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";

// Never destroyed: a thread may use it while the process ends.
setting &chosen_av_product()
{
    static auto &chosen = *new setting{"TONELINK_AV_PRODUCT"};
    return chosen;
}

} // namespace

} // namespace tonelink::host

using namespace tonelink::host;

int system_info_get_custom_bool(const char *key, bool *value)
{
    return at_boundary([&] {
        if (key == nullptr || value == nullptr || key != kAvProductKey) return kInvalidParameter;
        const auto text = chosen_av_product().get().value_or("0");
        if (text != "0" && text != "1")
            throw failure{kInvalidParameter,
                          "TONELINK_AV_PRODUCT is \"" + text + "\"; it can be 0 or 1"};
        *value = text == "1";
        return kOk;
    });
}

int tonelink_host_set_av_product(int av)
{
    return at_boundary([&] {
        if (av < -1 || av > 1) return kInvalidParameter;
        chosen_av_product().set(av < 0 ? nullptr : av == 1 ? "1" : "0");
        return kOk;
    });
}
