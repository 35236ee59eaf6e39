// What the environment sets and the program overrules: the device address, the AV product, the
// sink.

#include <cstdlib>
#include <functional>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kInvalidParameter = -22;
constexpr const char *kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";

std::string av_product()
{
    bool value = false;
    const int result = system_info_get_custom_bool(kAvProductKey, &value);
    return result == 0 ? std::to_string(value) : std::to_string(result);
}

std::string prepared()
{
    const test_output out;
    return std::to_string(audio_out_prepare(out));
}

int set_av_product(const char *value)
{
    return tonelink_host_set_av_product(value == nullptr ? -1 : std::atoi(value));
}

struct setting {
    const char *variable;
    std::function<int(const char *)> set;
    std::function<std::string()> get; // what is in force, or the result code
    std::vector<std::pair<const char *, const char *>> usable; // and what is got
    std::vector<const char *> unusable, unusable_to_the_program;
    std::string failure, words;
};

const setting kSettings[] = {
    {"TONELINK_BT_ADDRESS",
     tonelink_host_set_bluetooth_address,
     device_address,
     {{"00:1a:7D:da:71:0f", "00:1A:7D:DA:71:0F"}, {"AA:BB:CC:DD:EE:FF", "AA:BB:CC:DD:EE:FF"}},
     {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF", "AA:BB:CC:DD:EE:FG",
      "A:BB:CC:DD:EE:FFF"},
     {"hci0"},
     "-22",
     "an address like AA:BB:CC:DD:EE:FF"},
    {"TONELINK_AV_PRODUCT",
     set_av_product,
     av_product,
     {{"1", "1"}, {"0", "0"}},
     {"yes", "01"},
     {"2", "-2"},
     "-22",
     "0 or 1"},
    {"TONELINK_AUDIO",
     tonelink_host_set_audio,
     prepared,
     {{"null", "0"}, {"wav:/", "-26214399"}},
     {"wav", "wav:", "WAV:a", "alsa:", "null:a"},
     {"mp3:a.mp3"},
     "-26214399",
     "wav:PATH, alsa, alsa:DEVICE or null"},
};

} // namespace

TEST(Settings, ComeFromTheEnvironmentUnlessTheProgramSetsThem)
{
    for (const setting &tested : kSettings) {
        SCOPED_TRACE(tested.variable);
        const auto &[one, other] = std::pair{tested.usable[0], tested.usable[1]};
        setenv(tested.variable, one.first, 1);
        EXPECT_EQ(tested.get(), one.second);
        EXPECT_EQ(tested.set(other.first), 0);
        EXPECT_EQ(tested.get(), other.second);
        for (const char *text : tested.unusable_to_the_program)
            EXPECT_EQ(tested.set(text), kInvalidParameter) << text;
        EXPECT_EQ(tested.get(), other.second);
        EXPECT_EQ(tested.set(nullptr), 0);
        EXPECT_EQ(tested.get(), one.second);
        for (const char *text : tested.unusable) {
            setenv(tested.variable, text, 1);
            EXPECT_EQ(tested.get(), tested.failure);
            EXPECT_EQ(last_error(), std::string{tested.variable} + " is \"" + text +
                                        "\"; it can be " + tested.words);
        }
    }
    setenv("TONELINK_AV_PRODUCT", "", 1);
    EXPECT_EQ(av_product(), "0");
}

TEST(Settings, CallsNeedTheirArguments)
{
    bool value = true;
    for (const int result :
         {system_info_get_custom_bool("com.orvane/featureconf/other", &value),
          system_info_get_custom_bool(nullptr, &value),
          system_info_get_custom_bool(kAvProductKey, nullptr), bt_adapter_get_address(nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
    EXPECT_TRUE(value);
}

} // namespace tonelink::test
