// Every test here runs for all eight vector families.

#include "support/failing_memory.h"
#include "toolkit/families.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <utility>

using namespace tonelink::test;

namespace {

/// The operations in place, for the families that have them.
#define DEFINE_INPLACE(V)                                                                          \
    int32_t mid_inplace(V *v, int32_t first, int32_t last)                                         \
    {                                                                                              \
        return V##_mid_inplace(v, first, last);                                                    \
    }                                                                                              \
    void concat_inplace(const V *a, V *b) { V##_concat_inplace(a, b); }
TONELINK_INPLACE_FAMILIES(DEFINE_INPLACE)
#undef DEFINE_INPLACE

template <class Family> constexpr bool has_inplace = requires(typename Family::container v)
{
    mid_inplace(&v, 0, 0);
};

template <class Family> class Vectors : public ::testing::Test {
};
TYPED_TEST_SUITE(Vectors, vector_families, family_names);

TYPED_TEST(Vectors, ElementsAreReadAndWritten)
{
    filled<TypeParam> v{1, 2, 3};
    EXPECT_EQ(number_of(TypeParam::get_value(&v, 2)), 3);
    TypeParam::set_value(&v, TypeParam::get_value(&v, 2), 1);
    EXPECT_EQ(v.stored(), (numbers{1, 3, 3}));
}

TYPED_TEST(Vectors, MidTakesARange)
{
    constexpr int32_t bad = 0, good = 1;
    constexpr int32_t empty_range = std::is_same_v<TypeParam, bvec_family> ? bad : good;
    struct row {
        numbers src;
        int32_t first, last, result;
        numbers after; // of a good range
    };
    const numbers six{1, 2, 3, 4, 5, 6};
    for (const row &range : {
             row{six, 2, -1, good, {3, 4, 5, 6}},
             row{six, 1, 2, good, {2, 3}},
             row{six, 0, 5, good, six},
             row{six, -1, -1, good, {6}},
             row{six, 3, 2, empty_range, {}},
             row{six, 6, -1, empty_range, {}},
             row{six, 0, -1, good, six},
             row{six, 0, INT32_MIN, bad, {}},
             row{six, 4, 2, bad, {}},
             row{six, 6, 6, bad, {}},
             row{six, 7, 6, bad, {}},
             row{six, 0, 6, bad, {}},
             row{six, -2, 3, bad, {}},
             row{six, INT32_MIN, INT32_MAX, bad, {}},
             row{{}, 0, -1, empty_range, {}},
             row{{}, -1, -1, bad, {}},
             row{{}, 0, 0, bad, {}},
         }) {
        SCOPED_TRACE(testing::Message()
                     << range.first << " to " << range.last << " of " << range.src.size());
        filled<TypeParam> from(range.src), to{7, 8};
        EXPECT_EQ(TypeParam::mid(&from, &to, range.first, range.last), range.result);
        EXPECT_EQ(to.stored(), range.result == good ? range.after : (numbers{7, 8}));
        EXPECT_EQ(from.stored(), range.src);
        const auto in_place = [&](auto mid) {
            filled<TypeParam> v(range.src);
            const auto *const array = v.data;
            EXPECT_EQ(mid(&v), range.result);
            EXPECT_EQ(v.stored(), range.result == good ? range.after : range.src);
            if (v.length == from.length) {
                EXPECT_EQ(v.data, array);
            }
        };
        in_place([&](auto *v) { return TypeParam::mid(v, v, range.first, range.last); });
        if constexpr (has_inplace<TypeParam>)
            in_place([&](auto *v) { return mid_inplace(v, range.first, range.last); });
    }
}

TYPED_TEST(Vectors, ConcatJoinsAnyTwo)
{
    const auto joined = [](numbers a, const numbers &b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    const numbers none, two{1, 2}, three{3, 4, 5};
    for (const auto &[first, second] :
         {std::pair{two, three}, {two, none}, {none, three}, {none, none}}) {
        SCOPED_TRACE(testing::Message() << first.size() << " and " << second.size());
        const numbers both = joined(first, second);
        filled<TypeParam> a(first), b(second), dst{7, 8};
        TypeParam::concat(&a, &b, &dst);
        EXPECT_EQ(dst.stored(), both.empty() ? (numbers{7, 8}) : both);
        EXPECT_EQ(a.stored(), first);
        EXPECT_EQ(b.stored(), second);

        filled<TypeParam> grown(first);
        TypeParam::concat(&grown, &b, &grown);
        EXPECT_EQ(grown.stored(), both);
        grown.fill(second);
        TypeParam::concat(&a, &grown, &grown);
        EXPECT_EQ(grown.stored(), both);
        TypeParam::concat(&a, &a, &a);
        EXPECT_EQ(a.stored(), joined(first, first));

        if constexpr (has_inplace<TypeParam>) {
            grown.fill(first);
            concat_inplace(&b, &grown); // the first argument is what is appended
            EXPECT_EQ(grown.stored(), both);
            EXPECT_EQ(b.stored(), second);
            concat_inplace(&b, &b);
            EXPECT_EQ(b.stored(), joined(second, second));
        }
    }
}

TYPED_TEST(Vectors, AreLeftEmptyWithoutMemory)
{
    struct records {
        filled<TypeParam> a{1, 2, 3}, b{4, 5}, dst{6, 7};
    };
    struct operation {
        const char *name;
        std::function<int32_t(records &)> run; // on dst; 0 when there is nothing to return
    };
    std::vector<operation> all{
        {"set_length", [](auto &r) { return TypeParam::set_length(&r.dst, 9); }},
        {"copy", [](auto &r) { return TypeParam::copy(&r.a, &r.dst); }},
        {"mid", [](auto &r) { return TypeParam::mid(&r.a, &r.dst, 1, 1); }},
        {"mid of itself", [](auto &r) { return TypeParam::mid(&r.dst, &r.dst, 1, 1); }},
        {"concat", [](auto &r) { return TypeParam::concat(&r.a, &r.b, &r.dst), 0; }},
        {"concat, first", [](auto &r) { return TypeParam::concat(&r.dst, &r.b, &r.dst), 0; }},
        {"concat, second", [](auto &r) { return TypeParam::concat(&r.a, &r.dst, &r.dst), 0; }},
    };
    if constexpr (has_inplace<TypeParam>) {
        all.push_back({"mid_inplace", [](auto &r) { return mid_inplace(&r.dst, 1, 1); }});
        all.push_back({"concat_inplace", [](auto &r) { return concat_inplace(&r.a, &r.dst), 0; }});
        all.push_back({"doubled", [](auto &r) { return concat_inplace(&r.dst, &r.dst), 0; }});
    }
    if constexpr (std::is_same_v<TypeParam, vec16_family>)
        for (const int32_t n : {1, 9})
            all.push_back({"set_length_save_data",
                           [n](auto &r) { return vec16_set_length_save_data(&r.dst, n); }});

    for (const auto &[name, run] : all) {
        SCOPED_TRACE(name);
        records r, fresh;
        const failing_allocation first(0);
        EXPECT_EQ(run(r), 0);
        EXPECT_TRUE(first.happened());
        EXPECT_TRUE(is_empty(r.dst));
        EXPECT_EQ(r.a.stored(), (numbers{1, 2, 3}));
        EXPECT_EQ(r.b.stored(), (numbers{4, 5}));
        EXPECT_EQ(TypeParam::copy(&r.a, &r.dst), 1);
        const failing_allocation second(1);
        run(fresh);
        EXPECT_FALSE(second.happened()) << "one allocation is all it takes";
    }
}

TYPED_TEST(Vectors, RefuseArraysThatCannotBe)
{
    constexpr auto bytes_limit = int64_t{1} << 32;
    constexpr auto too_long = bytes_limit / int64_t{sizeof(typename TypeParam::element)};
    if constexpr (too_long <= INT32_MAX) {
        filled<TypeParam> v{1, 2};
        EXPECT_EQ(TypeParam::set_length(&v, static_cast<int32_t>(too_long)), 0);
        EXPECT_TRUE(is_empty(v));
    }
    // Two vectors that together have 2^31 elements; none of them is ever touched.
    typename TypeParam::element single{};
    const typename TypeParam::container half{&single, 1 << 30};
    filled<TypeParam> dst{1, 2};
    TypeParam::concat(&half, &half, &dst);
    EXPECT_TRUE(is_empty(dst));
}

TEST(Vec16, SetLengthSaveDataKeepsTheLeadingElements)
{
    struct row {
        numbers before;
        int32_t n, result;
        numbers kept;
    };
    for (const auto &[before, n, result, kept] : {
             row{{1, 2, 3, 4, 5}, 3, 1, {1, 2, 3}},
             row{{1, 2, 3}, 5, 1, {1, 2, 3}},
             row{{1, 2, 3}, 3, 0, {1, 2, 3}},
             row{{1, 2, 3}, 0, 1, {}},
             row{{1, 2, 3}, -1, 1, {}},
             row{{}, 2, 1, {}},
             row{{}, 0, 1, {}},
         }) {
        SCOPED_TRACE(testing::Message() << before.size() << " to " << n);
        filled<vec16_family> v(before);
        const auto *const array = v.data;
        EXPECT_EQ(vec16_set_length_save_data(&v, n), result);
        EXPECT_EQ(v.length, std::max(n, 0));
        if (result == 0) {
            EXPECT_EQ(v.data, array);
        }
        EXPECT_TRUE(std::equal(kept.begin(), kept.end(), v.data));
    }
}

} // namespace
