// Every test here runs for all eight matrix families.

#include "toolkit/families.h"

#include <array>

using namespace tonelink::test;

namespace {

/// What a matrix holds: its elements column by column.
struct grid {
    int32_t rows = 0, cols = 0;
    numbers elements = {};

    bool operator==(const grid &) const = default;
    /// The elements of a row or of a column, as long as there is one.
    std::vector<int *> line(bool is_row, int32_t index)
    {
        std::vector<int *> places;
        if (index < 0 || index >= (is_row ? rows : cols)) return places;
        for (int32_t i = 0; i < (is_row ? cols : rows); ++i)
            places.push_back(&elements.data()[is_row ? i * rows + index : index * rows + i]);
        return places;
    }
};

/// Two matrices and a vector, and what they ought to hold.
template <class Family> struct matrices_and_grids {
    std::array<owned<Family>, 2> matrices;
    std::array<grid, 2> grids;
    owned<typename Family::vectors> vector;
    numbers row;
    chooser choose{/*seed=*/2};

    /// Runs a call that says `result` and leaves `target` as `after`.
    template <class Target, class Run>
    void expect(Target &target, const Target &after, int32_t result, const Run &run)
    {
        target = choose.runs(result, run) ? after : Target{};
        for (std::size_t i = 0; i < grids.size(); ++i) {
            const auto &m = matrices[i];
            ASSERT_TRUE(m.size == m.rows * m.cols && (m.data == nullptr) == (m.size == 0));
            ASSERT_EQ((grid{m.rows, m.cols, m.first(Family::size(&m))}), grids[i]);
        }
        ASSERT_EQ(vector.first(vector.length), row);
    }
};

template <class Family> class Matrices : public ::testing::Test {
};
TYPED_TEST_SUITE(Matrices, matrix_families, family_names);

/// A new size, and new elements with it.
template <class Family> void resize(matrices_and_grids<Family> &all, owned<Family> &m, grid &here)
{
    const int32_t rows = all.choose.from(-1, 3), cols = all.choose.from(-1, 3);
    const bool is_empty = rows < 1 || cols < 1, stays = !is_empty && rows * cols == m.size;
    const grid after = stays      ? here
                       : is_empty ? grid{}
                                  : grid{rows, cols, all.choose.row(rows * cols)};
    const auto *const array = m.data;
    all.expect(here, after, stays ? 0 : 1, [&] {
        const int32_t result = Family::set_size(&m, rows, cols);
        if (result != 0) m.fill(after.elements); // new elements are not initialised
        return result;
    });
    EXPECT_TRUE(!stays || m.data == array);
}

/// A row or a column to or from the vector.
template <class Family>
void move_line(matrices_and_grids<Family> &all, owned<Family> &m, grid &here)
{
    const bool is_row = all.choose.from(0, 1) != 0;
    const int32_t index = all.choose.from(-1, 3);
    grid after = here;
    const auto places = after.line(is_row, index);
    if (all.choose.from(0, 1) != 0) {
        const bool fits = !places.empty() && all.row.size() == places.size();
        for (std::size_t i = 0; fits && i < places.size(); ++i) *places[i] = all.row[i];
        const auto set = is_row ? Family::set_row : Family::set_col;
        all.expect(here, after, fits ? 1 : 0, [&] { return set(&all.vector, &m, index); });
    } else {
        numbers got;
        for (const int *const place : places) got.push_back(*place);
        const auto get = is_row ? Family::get_row : Family::get_col;
        all.expect(all.row, places.empty() ? all.row : got, places.empty() ? 0 : 1,
                   [&] { return get(&m, &all.vector, index); });
    }
}

template <class Family> void make_any_call(matrices_and_grids<Family> &all)
{
    const auto which = static_cast<std::size_t>(all.choose.from(0, 1));
    auto &m = all.matrices[which], &other = all.matrices[1 - which];
    grid &here = all.grids[which], there = all.grids[1 - which];
    const bool is_refused = other.size == 0 && m.size != 0;
    switch (all.choose.from(0, 9)) {
    case 0: all.expect(here, {}, m.size == 0 ? 0 : 1, [&] { return Family::free(&m); }); break;
    case 1:
        all.expect(here, {m.rows, m.cols, numbers(here.elements.size())}, 1,
                   [&] { return Family::clear(&m), 1; });
        break;
    case 2:
        all.expect(here, is_refused ? here : there, is_refused ? 0 : 1,
                   [&] { return Family::copy(&other, &m); });
        break;
    case 3:
        if (m.size == 0) break;
        *here.line(true, m.rows - 1)[0] = here.elements.back();
        Family::set_value(&m,
                          element_for<typename Family::element>(
                              number_of(Family::get_value(&m, m.rows - 1, m.cols - 1))),
                          m.rows - 1, 0);
        break;
    case 4:
    case 5: resize(all, m, here); break;
    default: move_line(all, m, here);
    }
}

} // namespace

TYPED_TEST(Matrices, AreGridsOfNumbersThroughAnyCalls)
{
    matrices_and_grids<TypeParam> all;
    for (int call = 0; call < 20000 && !this->HasFailure(); ++call) make_any_call(all);
}

TYPED_TEST(Matrices, RefuseArraysThatCannotBe)
{
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        owned<TypeParam> m;
        TypeParam::set_size(&m, 2, 2);
        EXPECT_EQ(TypeParam::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_TRUE(m.data == nullptr && m.size == 0 && m.rows == 0 && m.cols == 0);
    }
}
