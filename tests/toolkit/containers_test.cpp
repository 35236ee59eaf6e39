// What vectors and matrices have in common; every test here runs for all sixteen families.

#include "toolkit/families.h"

#include <gtest/gtest.h>

using namespace tonelink::test;

namespace {

template <class Family> class Containers : public ::testing::Test {
};
TYPED_TEST_SUITE(Containers, all_families, family_names);

TYPED_TEST(Containers, ChangeTheirArrayOnlyWithTheirLength)
{
    filled<TypeParam> c{1, 2, 3};
    const auto *const array = c.data;
    EXPECT_EQ(TypeParam::length(&c), 3);
    EXPECT_EQ(TypeParam::set_length(&c, 3), 0);
    EXPECT_EQ(c.data, array);
    EXPECT_EQ(c.stored(), (numbers{1, 2, 3}));
    EXPECT_EQ(TypeParam::set_length(&c, 5), 1);
    TypeParam::clear(&c);
    EXPECT_EQ(c.stored(), numbers(5, 0));
    for (const int32_t nothing : {0, -3}) {
        TypeParam::set_length(&c, 2);
        EXPECT_EQ(TypeParam::set_length(&c, nothing), 1);
        EXPECT_TRUE(is_empty(c));
        EXPECT_EQ(TypeParam::set_length(&c, nothing), 1);
    }
    EXPECT_EQ(TypeParam::free(&c), 0);
    TypeParam::set_length(&c, 2);
    EXPECT_EQ(TypeParam::free(&c), 1);
    EXPECT_TRUE(is_empty(c));

    filled<TypeParam> owner{4};
    typename TypeParam::container other = owner;
    TypeParam::init(&other);
    EXPECT_TRUE(is_empty(other));
    EXPECT_EQ(owner.stored(), numbers{4}) << "init released the array";
}

TYPED_TEST(Containers, CopyUnlessOnlyTheSourceIsEmpty)
{
    struct row {
        numbers src, dst;
        int32_t result;
        numbers after;
    };
    for (const auto &[src, dst, result, after] : {
             row{{1, 2, 3}, {}, 1, {1, 2, 3}},
             row{{1, 2, 3}, {7}, 1, {1, 2, 3}},
             row{{1, 2, 3}, {7, 8, 9}, 1, {1, 2, 3}},
             row{{}, {7, 8}, 0, {7, 8}},
             row{{}, {}, 1, {}},
         }) {
        filled<TypeParam> from(src), to(dst);
        const auto *const array = to.data;
        EXPECT_EQ(TypeParam::copy(&from, &to), result);
        EXPECT_EQ(to.stored(), after);
        EXPECT_EQ(from.stored(), src);
        if (src.size() == dst.size() || result == 0) {
            EXPECT_EQ(to.data, array);
        }
        EXPECT_EQ(TypeParam::copy(&from, &from), 1);
        EXPECT_EQ(from.stored(), src);
    }
}

} // namespace
