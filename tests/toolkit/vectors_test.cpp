// Every test here runs for all eight vector families, from the header's own list.

#include "support/failing_memory.h"
#include "toolkit/elements.h"
#include "toolkit/scoped_vector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>

using namespace tonelink::test;

namespace {

/// The operations of a family under names without its prefix.
template <class Vector> struct family;
#define DEFINE_FAMILY(V, T)                                                                        \
    template <> struct family<V> {                                                                 \
        using element = T;                                                                         \
        static constexpr const char *name = #V;                                                    \
        static constexpr auto init = V##_init;                                                     \
        static constexpr auto set_length = V##_set_length;                                         \
        static constexpr auto free = V##_free;                                                     \
        static constexpr auto clear = V##_clear;                                                   \
        static constexpr auto length = V##_length;                                                 \
        static constexpr auto set_value = V##_set_value;                                           \
        static constexpr auto get_value = V##_get_value;                                           \
        static constexpr auto copy = V##_copy;                                                     \
        static constexpr auto mid = V##_mid;                                                       \
        static constexpr auto concat = V##_concat;                                                 \
    };
TONELINK_VECTOR_FAMILIES(DEFINE_FAMILY)
#undef DEFINE_FAMILY

/// The operations in place, where a family has them.
template <class Vector> struct inplace {
    static constexpr bool offered = false;
};
#define DEFINE_INPLACE(V)                                                                          \
    template <> struct inplace<V> {                                                                \
        static constexpr bool offered = true;                                                      \
        static constexpr auto mid = V##_mid_inplace;                                               \
        static constexpr auto concat = V##_concat_inplace;                                         \
    };
TONELINK_INPLACE_FAMILIES(DEFINE_INPLACE)
#undef DEFINE_INPLACE

template <class Vector> struct filled : tonelink::scoped_vector<Vector> {
    filled(std::initializer_list<int> values) { fill(values); }
    explicit filled(const numbers &values) { fill(values); }

    template <class Values> void fill(const Values &values)
    {
        using operations = family<Vector>;
        operations::set_length(this, static_cast<int32_t>(values.size()));
        int32_t i = 0;
        for (const int value : values)
            operations::set_value(this, element_for<typename operations::element>(value), i++);
    }
};

template <class Vector> bool is_empty(const Vector &v) { return !v.data && v.length == 0; }

template <class Vector> class Vectors : public ::testing::Test {
};

struct family_names {
    template <class Vector> static std::string GetName(int) { return family<Vector>::name; }
};
#define FAMILY_TYPE(V, T) , V
using all_families = types_after_first<void TONELINK_VECTOR_FAMILIES(FAMILY_TYPE)>::types;
#undef FAMILY_TYPE
TYPED_TEST_SUITE(Vectors, all_families, family_names);

TYPED_TEST(Vectors, ChangeTheirArrayOnlyWithTheirLength)
{
    using operations = family<TypeParam>;
    filled<TypeParam> v{1, 2, 3};
    const auto *const array = v.data;
    EXPECT_EQ(operations::length(&v), 3);
    EXPECT_EQ(number_of(operations::get_value(&v, 2)), 3);
    EXPECT_EQ(operations::set_length(&v, 3), 0);
    EXPECT_EQ(v.data, array);
    EXPECT_EQ(stored(v), (numbers{1, 2, 3}));
    EXPECT_EQ(operations::set_length(&v, 5), 1);
    operations::clear(&v);
    EXPECT_EQ(stored(v), numbers(5, 0));
    for (const int32_t nothing : {0, -3}) {
        operations::set_length(&v, 2);
        EXPECT_EQ(operations::set_length(&v, nothing), 1);
        EXPECT_TRUE(is_empty(v));
        EXPECT_EQ(operations::set_length(&v, nothing), 1);
    }
    EXPECT_EQ(operations::free(&v), 0);
    operations::set_length(&v, 2);
    EXPECT_EQ(operations::free(&v), 1);
    EXPECT_TRUE(is_empty(v));

    filled<TypeParam> owner{4};
    TypeParam other = owner;
    operations::init(&other);
    EXPECT_TRUE(is_empty(other));
    EXPECT_EQ(stored(owner), numbers{4}) << "init released the array";
}

TYPED_TEST(Vectors, CopyUnlessOnlyTheSourceIsEmpty)
{
    using operations = family<TypeParam>;
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
        EXPECT_EQ(operations::copy(&from, &to), result);
        EXPECT_EQ(stored(to), after);
        EXPECT_EQ(stored(from), src);
        if (src.size() == dst.size() || result == 0) {
            EXPECT_EQ(to.data, array);
        }
        EXPECT_EQ(operations::copy(&from, &from), 1);
        EXPECT_EQ(stored(from), src);
    }
}

TYPED_TEST(Vectors, MidTakesARange)
{
    using operations = family<TypeParam>;
    constexpr int32_t bad = 0, good = 1;
    constexpr int32_t empty_range = std::is_same_v<TypeParam, bvec> ? bad : good;
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
        EXPECT_EQ(operations::mid(&from, &to, range.first, range.last), range.result);
        EXPECT_EQ(stored(to), range.result == good ? range.after : (numbers{7, 8}));
        EXPECT_EQ(stored(from), range.src);
        const auto in_place = [&](auto mid) {
            filled<TypeParam> v(range.src);
            const auto *const array = v.data;
            EXPECT_EQ(mid(&v), range.result);
            EXPECT_EQ(stored(v), range.result == good ? range.after : range.src);
            if (v.length == from.length) {
                EXPECT_EQ(v.data, array);
            }
        };
        in_place([&](auto *v) { return operations::mid(v, v, range.first, range.last); });
        if constexpr (inplace<TypeParam>::offered)
            in_place([&](auto *v) { return inplace<TypeParam>::mid(v, range.first, range.last); });
    }
}

TYPED_TEST(Vectors, ConcatJoinsAnyTwo)
{
    using operations = family<TypeParam>;
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
        operations::concat(&a, &b, &dst);
        EXPECT_EQ(stored(dst), both.empty() ? (numbers{7, 8}) : both);
        EXPECT_EQ(stored(a), first);
        EXPECT_EQ(stored(b), second);

        filled<TypeParam> grown(first);
        operations::concat(&grown, &b, &grown);
        EXPECT_EQ(stored(grown), both);
        grown.fill(second);
        operations::concat(&a, &grown, &grown);
        EXPECT_EQ(stored(grown), both);
        operations::concat(&a, &a, &a);
        EXPECT_EQ(stored(a), joined(first, first));

        if constexpr (inplace<TypeParam>::offered) {
            grown.fill(first);
            inplace<TypeParam>::concat(&b, &grown); // the first argument is what is appended
            EXPECT_EQ(stored(grown), both);
            EXPECT_EQ(stored(b), second);
            inplace<TypeParam>::concat(&b, &b);
            EXPECT_EQ(stored(b), joined(second, second));
        }
    }
}

TYPED_TEST(Vectors, AreLeftEmptyWithoutMemory)
{
    using operations = family<TypeParam>;
    struct records {
        filled<TypeParam> a{1, 2, 3}, b{4, 5}, dst{6, 7};
    };
    struct operation {
        const char *name;
        std::function<int32_t(records &)> run; // on dst; 0 when there is nothing to return
    };
    std::vector<operation> all{
        {"set_length", [](records &r) { return operations::set_length(&r.dst, 9); }},
        {"copy", [](records &r) { return operations::copy(&r.a, &r.dst); }},
        {"mid", [](records &r) { return operations::mid(&r.a, &r.dst, 1, 1); }},
        {"mid of itself", [](records &r) { return operations::mid(&r.dst, &r.dst, 1, 1); }},
        {"concat", [](records &r) { return operations::concat(&r.a, &r.b, &r.dst), 0; }},
        {"concat, first", [](records &r) { return operations::concat(&r.dst, &r.b, &r.dst), 0; }},
        {"concat, second", [](records &r) { return operations::concat(&r.a, &r.dst, &r.dst), 0; }},
    };
    if constexpr (inplace<TypeParam>::offered) {
        using in_place = inplace<TypeParam>;
        all.push_back({"mid_inplace", [](records &r) { return in_place::mid(&r.dst, 1, 1); }});
        all.push_back(
            {"concat_inplace", [](records &r) { return in_place::concat(&r.a, &r.dst), 0; }});
        all.push_back({"doubled", [](records &r) { return in_place::concat(&r.dst, &r.dst), 0; }});
    }
    if constexpr (std::is_same_v<TypeParam, vec16>)
        for (const int32_t n : {1, 9})
            all.push_back({"set_length_save_data",
                           [n](records &r) { return vec16_set_length_save_data(&r.dst, n); }});

    for (const auto &[name, run] : all) {
        for (std::size_t index = 0;; ++index) {
            SCOPED_TRACE(testing::Message() << name << ", allocation " << index);
            records r;
            int32_t result;
            bool failed;
            {
                const failing_allocation failure(index);
                result = run(r);
                failed = failure.happened();
            }
            EXPECT_EQ(stored(r.a), (numbers{1, 2, 3}));
            EXPECT_EQ(stored(r.b), (numbers{4, 5}));
            if (!failed) {
                EXPECT_FALSE(is_empty(r.dst));
                EXPECT_GT(index, 0u) << "no allocation could be made to fail";
                break;
            }
            EXPECT_EQ(result, 0);
            EXPECT_TRUE(is_empty(r.dst));
            EXPECT_EQ(operations::copy(&r.a, &r.dst), 1);
            EXPECT_EQ(stored(r.dst), (numbers{1, 2, 3}));
        }
    }
}

TYPED_TEST(Vectors, RefuseArraysThatCannotBe)
{
    using operations = family<TypeParam>;
    constexpr auto bytes_limit = int64_t{1} << 32;
    constexpr auto too_long = bytes_limit / int64_t{sizeof(typename operations::element)};
    if constexpr (too_long <= INT32_MAX) {
        filled<TypeParam> v{1, 2};
        EXPECT_EQ(operations::set_length(&v, static_cast<int32_t>(too_long)), 0);
        EXPECT_TRUE(is_empty(v));
    }
    // Two vectors that together have 2^31 elements; none of them is ever touched.
    typename operations::element single{};
    const TypeParam half{&single, 1 << 30};
    filled<TypeParam> dst{1, 2};
    operations::concat(&half, &half, &dst);
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
        filled<vec16> v(before);
        const auto *const array = v.data;
        EXPECT_EQ(vec16_set_length_save_data(&v, n), result);
        EXPECT_EQ(v.length, std::max(n, 0));
        if (result == 0) {
            EXPECT_EQ(v.data, array);
        }
        numbers leading;
        for (std::size_t i = 0; i < kept.size(); ++i) leading.push_back(v.data[i]);
        EXPECT_EQ(leading, kept);
    }
}

} // namespace
