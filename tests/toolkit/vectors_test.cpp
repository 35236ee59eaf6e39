// Every test here runs for all eight vector families.

#include "support/signals.h"
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

/// The range of `row` that first and last stand for, both included; none where they are bad.
template <class Row>
std::optional<Row> range_of(const Row &row, int32_t first, int32_t last, bool may_be_empty)
{
    const auto end = static_cast<int64_t>(row.size());
    const int64_t from = first == -1 ? end - 1 : first;
    const int64_t to = last == -1 ? end - 1 : last;
    if (from < 0 || to >= end || to - from < (may_be_empty ? -1 : 0)) return {};
    return Row(row.begin() + static_cast<std::ptrdiff_t>(from),
               row.begin() + static_cast<std::ptrdiff_t>(to) + 1);
}

/// Three vectors, and what they ought to hold.
template <class Family> struct vectors_and_rows {
    using row = typename owned<Family>::row;

    std::array<owned<Family>, 3> vectors;
    std::array<row, 3> rows;
    lcg random{1};

    int choose(int least, int most) { return least + (random.next() + 32768) % (most - least + 1); }
    std::size_t any() { return static_cast<std::size_t>(choose(0, 2)); }
    int32_t any_bound()
    {
        const int bound = choose(-4, 6);
        return bound == -4 ? INT32_MIN : bound == -3 ? INT32_MAX : bound;
    }

    /// Runs a call that is to make vector `dst` equal to `after`, or leaves it where there is none.
    template <class Run>
    void expect(std::size_t dst, const std::optional<row> &after, const Run &run)
    {
        const auto *const array = vectors[dst].data;
        const std::size_t size = rows[dst].size();
        if (!runs(any() % 2, after ? 1 : 0, run))
            rows[dst].clear();
        else if (after)
            rows[dst] = *after;
        EXPECT_TRUE(rows[dst].size() != size || vectors[dst].data == array)
            << "a length that stays keeps the array";
        for (std::size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(vectors[i].data == nullptr, rows[i].empty());
            ASSERT_EQ(vectors[i].first(Family::length(&vectors[i])), rows[i]);
        }
    }
    /// The same of a call that has no result.
    template <class Run> void expect_void(std::size_t dst, const row &after, const Run &run)
    {
        expect(dst, after, [&] { return run(), after.empty() || vectors[dst].data ? 1 : 0; });
    }
};

template <class Family> class Vectors : public ::testing::Test {
};
TYPED_TEST_SUITE(Vectors, vector_families, family_names);

/// Any call of a family on any of its vectors; what it is to make of them is found on rows.
template <class Family> void make_any_call(vectors_and_rows<Family> &v)
{
    using element = typename Family::element;
    using row = typename owned<Family>::row;
    constexpr bool may_be_empty = !std::is_same_v<Family, bvec_family>;
    constexpr std::optional<row> nothing;
    const std::size_t a = v.any(), b = v.any(), dst = v.any();
    auto *const va = &v.vectors[a], *const vb = &v.vectors[b], *const to = &v.vectors[dst];
    const int32_t length = v.choose(-1, 6), first = v.any_bound(), last = v.any_bound();
    const auto range = range_of(v.rows[a], first, last, may_be_empty);
    const row fresh = elements_from<element>(v.choose(0, 120), length);
    row joined = v.rows[a];
    joined.insert(joined.end(), v.rows[b].begin(), v.rows[b].end());
    switch (v.choose(0, 10)) {
    case 0:
        v.expect(dst, length > 0 && length == to->length ? nothing : fresh, [&] {
            const int32_t result = Family::set_length(to, length);
            if (result != 0) to->fill(fresh); // new elements are not initialised
            return result;
        });
        break;
    case 1:
        v.expect(dst, v.rows[dst].empty() ? nothing : row{}, [&] { return Family::free(to); });
        break;
    case 2: v.expect_void(dst, row(v.rows[dst].size()), [&] { Family::clear(to); }); break;
    case 3:
        if (v.rows[a].empty()) break;
        v.rows[a][0] = v.rows[a].back();
        Family::set_value(va, static_cast<element>(Family::get_value(va, va->length - 1)), 0);
        break;
    case 4:
        v.expect(dst, v.rows[a].empty() && to->length != 0 ? nothing : v.rows[a],
                 [&] { return Family::copy(va, to); });
        break;
    case 5:
        if constexpr (requires { mid_inplace(va, first, last); })
            v.expect(a, range, [&] { return mid_inplace(va, first, last); });
        break;
    case 6:
        if constexpr (requires { concat_inplace(vb, va); })
            v.expect_void(a, joined, [&] { concat_inplace(vb, va); });
        break;
    case 7: v.expect(dst, range, [&] { return Family::mid(va, to, first, last); }); break;
    case 8:
        if constexpr (std::is_same_v<Family, vec16_family>) {
            row kept = v.rows[dst];
            kept.resize(static_cast<std::size_t>(std::max(length, 0)));
            v.expect(dst, length > 0 && length == to->length ? nothing : kept, [&] {
                const int32_t before = to->length;
                const int32_t result = vec16_set_length_save_data(to, length);
                if (before < to->length)
                    std::fill_n(to->data + before, to->length - before, int16_t{0});
                return result;
            });
        }
        break;
    default:
        v.expect_void(dst, joined.empty() ? v.rows[dst] : joined,
                      [&] { Family::concat(va, vb, to); });
    }
}

} // namespace

TYPED_TEST(Vectors, AreRowsOfNumbersThroughAnyCalls)
{
    vectors_and_rows<TypeParam> all;
    for (int i = 0; i < 20000 && !this->HasFailure(); ++i) make_any_call(all);
}

TYPED_TEST(Vectors, RefuseArraysThatCannotBe)
{
    // Two vectors that together have 2^31 elements, or 2^32 bytes; none of them is ever touched.
    typename TypeParam::element single{};
    constexpr auto most = std::min<int64_t>(1 << 30, (int64_t{1} << 31) / sizeof single);
    owned<TypeParam> v;
    TypeParam::set_length(&v, 2);
    const typename TypeParam::container half{&single, static_cast<int32_t>(most)};
    TypeParam::concat(&half, &half, &v);
    EXPECT_TRUE(v.data == nullptr && v.length == 0);
}
