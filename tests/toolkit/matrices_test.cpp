// Every test here runs for all eight matrix families.

#include "toolkit/families.h"

using namespace tonelink::test;

namespace {

template <class Family> class Matrices : public ::testing::Test {
};
TYPED_TEST_SUITE(Matrices, matrix_families, family_names);

using shape = std::pair<int32_t, int32_t>; // rows and columns
const shape kShapes[] = {{0, 3}, {3, 0}, {2, -1}, {1, 1}, {1, 3}, {3, 1}, {2, 3}, {3, 2}, {3, 3}};

/// A matrix of that size, and its elements from the one for `first` on.
template <class Family> struct filled : owned<Family> {
    filled(shape of, int first)
    {
        Family::set_size(this, of.first, of.second);
        this->fill(elements_from<typename Family::element>(first, this->size));
    }
};

/// Its size and its elements, column by column.
template <class Family> auto content_of(const owned<Family> &m)
{
    EXPECT_TRUE(m.size == m.rows * m.cols && (m.data == nullptr) == (m.size == 0));
    return std::tuple{m.rows, m.cols, m.first(Family::size(&m))};
}

/// Overwrites a row or a column from a vector, and reads it into the same one.
template <class Family>
void expect_line(filled<Family> &&m, bool is_row, int32_t index, int length, std::size_t allocation)
{
    auto elements = m.first(m.size), overwritten = elements;
    auto given = elements_from<typename Family::element>(50, length), line = given;
    line.clear();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const auto at = static_cast<int32_t>(i);
        if ((is_row ? at % m.rows : at / m.rows) != index) continue;
        overwritten[i] = element_for<typename Family::element>(50 + static_cast<int>(line.size()));
        line.push_back(elements[i]);
    }
    const bool exists = !line.empty(), fits = exists && line.size() == given.size();
    owned<typename Family::vectors> v;
    Family::vectors::set_length(&v, length);
    v.fill(given);
    runs(allocation, fits ? 1 : 0,
         [&] { return (is_row ? Family::set_row : Family::set_col)(&v, &m, index); });
    EXPECT_EQ(m.first(m.size), fits ? overwritten : elements);
    const auto get = is_row ? Family::get_row : Family::get_col;
    if (exists && !fits) given = line;
    if (!runs(allocation, exists ? 1 : 0, [&] { return get(&m, &v, index); })) given.clear();
    EXPECT_EQ(v.first(v.length), given);
}

/// Changes matrices of a size, with and without memory, into another one or not at all.
template <class Family, class Change>
void expect_change(shape before, const filled<Family> &after, bool stays, const Change &change)
{
    for (const std::size_t allocation : {0u, 1u}) {
        filled<Family> m{before, 50};
        auto expected = content_of(stays ? m : after);
        if (!runs(allocation, stays ? 0 : 1, [&] { return change(m); }))
            expected = content_of(owned<Family>{});
        EXPECT_EQ(content_of(m), expected);
    }
}

} // namespace

TYPED_TEST(Matrices, TakeSizesAndCopies)
{
    for (const auto &before : kShapes)
        for (const auto &after : kShapes) {
            const filled<TypeParam> other{after, 1};
            const int32_t size = filled<TypeParam>{before, 1}.size;
            expect_change(before, other, other.size == 0 && size != 0,
                          [&](auto &m) { return TypeParam::copy(&other, &m); });
            expect_change(before, other, other.size != 0 && other.size == size, [&](auto &m) {
                const int32_t result = TypeParam::set_size(&m, after.first, after.second);
                if (result != 0)
                    m.fill(other.first(other.size)); // new elements are not initialised
                return result;
            });
        }
}

TYPED_TEST(Matrices, AreReadAndWrittenByRowsAndColumns)
{
    for (const auto &of : kShapes)
        for (int32_t index = -1; index <= 3; ++index)
            for (int length = 0; length <= 3; ++length)
                for (const std::size_t allocation : {0u, 1u}) {
                    expect_line<TypeParam>({of, 1}, true, index, length, allocation);
                    expect_line<TypeParam>({of, 1}, false, index, length, allocation);
                }
}

TYPED_TEST(Matrices, AreReadAndWrittenByElements)
{
    using element = typename TypeParam::element;
    filled<TypeParam> m{{2, 3}, 1};
    TypeParam::set_value(&m, static_cast<element>(TypeParam::get_value(&m, 1, 2)), 0, 1);
    auto expected = elements_from<element>(1, 6);
    expected[2] = expected[5];
    EXPECT_EQ(content_of(m), (std::tuple{2, 3, expected}));
    TypeParam::clear(&m);
    EXPECT_EQ(content_of(m), (std::tuple{2, 3, std::vector<element>(6)}));
    EXPECT_EQ(TypeParam::free(&m), 1);
    EXPECT_EQ(TypeParam::free(&m), 0);
    EXPECT_EQ(content_of(m), content_of(owned<TypeParam>{}));
    filled<TypeParam> smallest{{1, 1}, 1};
    EXPECT_EQ(TypeParam::free(&smallest), 1);
}

TYPED_TEST(Matrices, RefuseArraysThatCannotBe)
{
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        filled<TypeParam> m{{2, 2}, 1};
        EXPECT_EQ(TypeParam::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_EQ(content_of(m), content_of(owned<TypeParam>{}));
    }
}
