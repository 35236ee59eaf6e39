// Every test here runs for all eight vector families.

#include "toolkit/families.h"

#include <array>
#include <optional>

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

/// The range of `row` that first and last stand for, both included; none where they are bad.
std::optional<numbers> range_of(const numbers &row, int32_t first, int32_t last, bool may_be_empty)
{
    const auto end = static_cast<int64_t>(row.size());
    const int64_t from = first == -1 ? end - 1 : first;
    const int64_t to = last == -1 ? end - 1 : last;
    const bool is_inside = from >= 0 && to < end && to - from >= (may_be_empty ? -1 : 0);
    if (!is_inside) return {};
    return numbers(row.begin() + from, row.begin() + to + 1);
}

/// Three vectors, and what they ought to hold.
template <class Family> struct vectors_and_rows {
    std::array<owned<Family>, 3> vectors;
    std::array<numbers, 3> rows;
    chooser choose;
    int call = 0;

    explicit vectors_and_rows(uint32_t seed) : choose{seed} {}

    std::size_t any() { return static_cast<std::size_t>(choose.from(0, 2)); }

    /// Runs a call that is to make vector `dst` equal to `row`, or leaves it where there is none,
    /// sometimes without memory.
    template <class Run>
    void expect(std::size_t dst, const std::optional<numbers> &row, const Run &run)
    {
        const auto *const array = vectors[dst].data;
        const std::size_t size = rows[dst].size();
        const auto index = static_cast<std::size_t>(choose.from(0, 1));
        const failing_allocation failure{index};
        if constexpr (std::is_void_v<std::invoke_result_t<Run>>) {
            run();
        } else {
            const int32_t result = run();
            EXPECT_EQ(result, row && !failure.happened() ? 1 : 0);
        }
        if (failure.happened()) {
            EXPECT_EQ(index, 0u) << "one allocation is all it takes";
            rows[dst].clear();
        } else {
            if (row) rows[dst] = *row;
            if (rows[dst].size() == size) {
                EXPECT_EQ(vectors[dst].data, array) << "a length that stays keeps the array";
            }
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(Family::length(&vectors[i]), static_cast<int32_t>(rows[i].size())) << call;
            ASSERT_EQ(vectors[i].data == nullptr, rows[i].empty()) << call;
            ASSERT_EQ(vectors[i].first(rows[i].size()), rows[i]) << call;
        }
    }
};

template <class Family> class Vectors : public ::testing::Test {
};
TYPED_TEST_SUITE(Vectors, vector_families, family_names);

/// Any call of a family on any of its vectors; what it is to make of them is found on rows.
template <class Family> void make_any_call(vectors_and_rows<Family> &v)
{
    const std::size_t a = v.any(), b = v.any(), dst = v.any();
    auto *const va = &v.vectors[a], *const vb = &v.vectors[b], *const to = &v.vectors[dst];
    const int32_t first = v.choose.from(-2, 6), last = v.choose.from(-2, 6);
    numbers joined = v.rows[a];
    joined.insert(joined.end(), v.rows[b].begin(), v.rows[b].end());
    constexpr bool may_be_empty = !std::is_same_v<Family, bvec_family>;
    const auto range = range_of(v.rows[a], first, last, may_be_empty);
    switch (v.choose.from(0, 9)) {
    case 0: {
        const numbers row = v.choose.row(static_cast<std::size_t>(std::max(first, 0)));
        const bool stays = !row.empty() && row.size() == v.rows[dst].size();
        v.expect(dst, stays ? std::optional<numbers>{} : row, [&] {
            const int32_t result = Family::set_length(to, first);
            if (result != 0) to->fill(row); // new elements are not initialised
            return result;
        });
        break;
    }
    case 1:
        v.expect(dst, v.rows[dst].empty() ? std::optional<numbers>{} : numbers{},
                 [&] { return Family::free(to); });
        break;
    case 2: v.expect(dst, numbers(v.rows[dst].size()), [&] { Family::clear(to); }); break;
    case 3:
        if (v.rows[a].empty()) break;
        v.rows[a][0] = number_of(Family::get_value(va, Family::length(va) - 1));
        Family::set_value(va, element_for<typename Family::element>(v.rows[a][0]), 0);
        break;
    case 4:
        v.expect(dst,
                 v.rows[a].empty() && !v.rows[dst].empty() ? std::optional<numbers>{} : v.rows[a],
                 [&] { return Family::copy(va, to); });
        break;
    case 5:
        if constexpr (has_inplace<Family>)
            v.expect(a, range, [&] { return mid_inplace(va, first, last); });
        break;
    case 6:
        if constexpr (has_inplace<Family>) v.expect(a, joined, [&] { concat_inplace(vb, va); });
        break;
    case 7: v.expect(dst, range, [&] { return Family::mid(va, to, first, last); }); break;
    default:
        v.expect(dst, joined.empty() ? v.rows[dst] : joined, [&] { Family::concat(va, vb, to); });
    }
}

} // namespace

TYPED_TEST(Vectors, AreRowsOfNumbersThroughAnyCalls)
{
    vectors_and_rows<TypeParam> all{/*seed=*/1};
    for (; all.call < 20000 && !this->HasFatalFailure(); ++all.call) make_any_call(all);
}

TYPED_TEST(Vectors, RefuseRangesBeyondAllNumbers)
{
    owned<TypeParam> v;
    TypeParam::set_length(&v, 6);
    for (const auto &[first, last] :
         {std::pair{0, INT32_MIN}, {INT32_MIN, INT32_MAX}, {INT32_MIN, -1}, {INT32_MAX, INT32_MIN}})
        EXPECT_EQ(TypeParam::mid(&v, &v, first, last), 0) << first << " to " << last;
    EXPECT_EQ(v.length, 6);
}

TYPED_TEST(Vectors, RefuseArraysThatCannotBe)
{
    constexpr auto bytes_limit = int64_t{1} << 32;
    constexpr auto too_long = bytes_limit / int64_t{sizeof(typename TypeParam::element)};
    owned<TypeParam> v;
    if constexpr (too_long <= INT32_MAX) {
        TypeParam::set_length(&v, 2);
        EXPECT_EQ(TypeParam::set_length(&v, static_cast<int32_t>(too_long)), 0);
        EXPECT_EQ(v.data, nullptr);
    }
    // Two vectors that together have 2^31 elements; none of them is ever touched.
    typename TypeParam::element single{};
    const typename TypeParam::container half{&single, 1 << 30};
    TypeParam::set_length(&v, 2);
    TypeParam::concat(&half, &half, &v);
    EXPECT_TRUE(v.data == nullptr && v.length == 0);
}

TEST(Vec16, SetLengthSaveDataKeepsTheLeadingElements)
{
    chooser choose{/*seed=*/3};
    for (int call = 0; call < 500; ++call) {
        const int32_t before = choose.from(0, 4), n = choose.from(-1, 5);
        const numbers row = choose.row(static_cast<std::size_t>(before));
        owned<vec16_family> v;
        vec16_set_length(&v, before);
        v.fill(row);
        const failing_allocation failure{static_cast<std::size_t>(choose.from(0, 1))};
        const int32_t result = vec16_set_length_save_data(&v, n);
        ASSERT_EQ(result, failure.happened() || (n > 0 && n == before) ? 0 : 1);
        ASSERT_EQ(v.length, failure.happened() ? 0 : std::max(n, 0));
        const auto kept = std::min(before, v.length);
        ASSERT_EQ(v.first(static_cast<std::size_t>(kept)),
                  numbers(row.begin(), row.begin() + kept));
    }
}

TEST(Vec16, ElementsAreInt32ToWhoeverReadsThem)
{
    int16_t low = -1;
    uint8_t high = 255;
    const vec16 v{&low, 1};
    const bvec b{&high, 1};
    const mat16 m{&low, 1, 1, 1};
    EXPECT_EQ(vec16_get_value(&v, 0), -1);
    EXPECT_EQ(bvec_get_value(&b, 0), 255);
    EXPECT_EQ(mat16_get_value(&m, 0, 0), -1);
}
