// What the environment sets and the program overrules: the device address, the AV product, the
// sink.

#include <cstdlib>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr const char *kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";

std::string av_product()
{
    bool value = false;
    const int result = system_info_get_custom_bool(kAvProductKey, &value);
    return std::to_string(result == 0 ? value : result);
}

int set_av_product(const char *value)
{
    return tonelink_host_set_av_product(value == nullptr ? -1 : std::atoi(value));
}

std::string prepared() { return std::to_string(audio_out_prepare(test_output{})); }

struct setting {
    const char *variable;
    int (*set)(const char *text);
    std::string (*get)();                             // what is in force, or the result code
    std::pair<const char *, const char *> one, other; // usable texts, and what is got
    std::vector<const char *> unusable;
    const char *failure, *words;
};

const setting kSettings[] = {
    {"TONELINK_BT_ADDRESS",
     tonelink_host_set_bluetooth_address,
     device_address,
     {"00:1a:7D:da:71:0f", "00:1A:7D:DA:71:0F"},
     {"AA:BB:CC:DD:EE:FF", "AA:BB:CC:DD:EE:FF"},
     {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF", "AA:BB:CC:DD:EE:FG"},
     "-22",
     "an address like AA:BB:CC:DD:EE:FF"},
    {"TONELINK_AV_PRODUCT",
     set_av_product,
     av_product,
     {"1", "1"},
     {"0", "0"},
     {"2", "-2"},
     "-22",
     "0 or 1"},
    {"TONELINK_AUDIO",
     tonelink_host_set_audio,
     prepared,
     {"null", "0"},
     {"wav:/", "-26214399"},
     {"wav", "wav:", "WAV:a", "alsa:", "null:a"},
     "-26214399",
     "wav:PATH, alsa, alsa:DEVICE or null"},
};

} // namespace

TEST(Settings, ComeFromTheEnvironmentUnlessTheProgramSetsThem)
{
    for (const auto &[variable, set, get, one, other, unusable, failure, words] : kSettings) {
        SCOPED_TRACE(variable);
        setenv(variable, one.first, 1);
        EXPECT_EQ(get(), one.second);
        EXPECT_EQ(set(other.first), 0);
        for (const char *text : unusable) EXPECT_EQ(set(text), kInvalidParameter) << text;
        EXPECT_EQ(get(), other.second);
        EXPECT_EQ(set(nullptr), 0);
        EXPECT_EQ(get(), one.second);
        for (const char *text : unusable) {
            setenv(variable, text, 1);
            EXPECT_EQ(get(), failure);
            EXPECT_EQ(last_error(),
                      std::string{variable} + " is \"" + text + "\"; it can be " + words);
        }
    }
    setenv("TONELINK_AV_PRODUCT", "", 1);
    EXPECT_EQ(av_product(), "0");
    bool value = true;
    for (const int result :
         {system_info_get_custom_bool("com.orvane/featureconf/other", &value),
          system_info_get_custom_bool(nullptr, &value),
          system_info_get_custom_bool(kAvProductKey, nullptr), bt_adapter_get_address(nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
}

} // namespace tonelink::test
