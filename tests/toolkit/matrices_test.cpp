// Every test here runs for all eight matrix families.

#include "toolkit/families.h"

using namespace tonelink::test;

namespace {

template <class Family> class Matrices : public ::testing::Test {
};
TYPED_TEST_SUITE(Matrices, matrix_families, family_names);

using shape = std::pair<int32_t, int32_t>; // rows and columns
const shape kShapes[] = {{0, 3}, {2, -1}, {1, 1}, {1, 3}, {3, 1}, {2, 3}, {3, 2}, {3, 3}};

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
    using vectors = typename Family::vectors;
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
    owned<vectors> v;
    vectors::set_length(&v, length);
    v.fill(given);
    const auto set = is_row ? Family::set_row : Family::set_col;
    runs(allocation, fits ? 1 : 0, [&] { return set(&v, &m, index); });
    EXPECT_EQ(m.first(m.size), fits ? overwritten : elements);
    const auto get = is_row ? Family::get_row : Family::get_col;
    if (exists && !fits) given = line;
    if (!runs(allocation, exists ? 1 : 0, [&] { return get(&m, &v, index); })) given.clear();
    EXPECT_EQ(v.first(v.length), given);
}

} // namespace

TYPED_TEST(Matrices, TakeSizesAndCopies)
{
    const owned<TypeParam> nothing;
    for (const auto &before : kShapes)
        for (const auto &after : kShapes)
            for (const std::size_t allocation : {0u, 1u}) {
                const filled<TypeParam> source{after, 1};
                filled<TypeParam> copy{before, 50}, sized{before, 50};
                const bool is_refused = source.size == 0 && copy.size != 0;
                auto expected = content_of(is_refused ? copy : source);
                if (!runs(allocation, is_refused ? 0 : 1,
                          [&] { return TypeParam::copy(&source, &copy); }))
                    expected = content_of(nothing);
                EXPECT_EQ(content_of(copy), expected);

                const bool stays = source.size != 0 && source.size == sized.size;
                expected = content_of(stays ? sized : source);
                const auto set_size = [&] {
                    return TypeParam::set_size(&sized, after.first, after.second);
                };
                if (!runs(allocation, stays ? 0 : 1, set_size))
                    expected = content_of(nothing);
                else if (!stays)
                    sized.fill(std::get<2>(expected)); // new elements are not initialised
                EXPECT_EQ(content_of(sized), expected);
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
}

TYPED_TEST(Matrices, RefuseArraysThatCannotBe)
{
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        filled<TypeParam> m{{2, 2}, 1};
        EXPECT_EQ(TypeParam::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_EQ(content_of(m), content_of(owned<TypeParam>{}));
    }
}
