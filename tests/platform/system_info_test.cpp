// The one switch that the environment and the program set: whether it is an AV product.

#include <cstdlib>
#include <optional>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr const char *kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";
constexpr int kInvalidParameter = -22;

/// The switch, or nothing after a failure.
std::optional<bool> av_product()
{
    bool value = false;
    const int result = system_info_get_custom_bool(kAvProductKey, &value);
    EXPECT_TRUE(result == 0 || result == kInvalidParameter);
    return result == 0 ? std::optional{value} : std::nullopt;
}

} // namespace

TEST(SystemInfo, KnowsWhetherItIsAnAvProduct)
{
    unsetenv("TONELINK_AV_PRODUCT");
    EXPECT_EQ(av_product(), false);
    using expectation = std::pair<const char *, std::optional<bool>>;
    for (const auto &[text, value] :
         {expectation{"1", true}, expectation{"0", false}, expectation{"", false},
          expectation{"yes", std::nullopt}, expectation{"01", std::nullopt}}) {
        setenv("TONELINK_AV_PRODUCT", text, 1);
        EXPECT_EQ(av_product(), value) << text;
    }
    EXPECT_EQ(last_error(), "TONELINK_AV_PRODUCT is \"01\"; it can be 0 or 1");

    using setting = std::pair<int, std::optional<bool>>;
    for (const auto &[set, value] :
         {setting{1, true}, setting{0, false}, setting{-1, std::nullopt}}) {
        EXPECT_EQ(tonelink_host_set_av_product(set), 0);
        EXPECT_EQ(tonelink_host_set_av_product(2), kInvalidParameter);
        EXPECT_EQ(tonelink_host_set_av_product(-2), kInvalidParameter);
        EXPECT_EQ(av_product(), value) << set;
    }
}

TEST(SystemInfo, KnowsNoOtherKey)
{
    bool value = true;
    EXPECT_EQ(system_info_get_custom_bool("com.orvane/featureconf/other", &value),
              kInvalidParameter);
    EXPECT_EQ(system_info_get_custom_bool(nullptr, &value), kInvalidParameter);
    EXPECT_EQ(system_info_get_custom_bool(kAvProductKey, nullptr), kInvalidParameter);
    EXPECT_TRUE(value);
}

} // namespace tonelink::test
