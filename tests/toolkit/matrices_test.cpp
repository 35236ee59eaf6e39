// Every test here runs for all eight matrix families.

#include "toolkit/families.h"

#include <array>

using namespace tonelink::test;

namespace {

/// A matrix and a vector, and what they ought to hold: the elements column by column.
struct grid {
    int32_t rows = 0, cols = 0;
    numbers elements = {};

    bool operator==(const grid &) const = default;
    /// Where the elements of a row or of a column lie.
    std::vector<std::size_t> places(bool of_row, int32_t line) const
    {
        std::vector<std::size_t> all;
        for (int32_t i = 0; i < (of_row ? cols : rows); ++i)
            all.push_back(static_cast<std::size_t>(of_row ? i * rows + line : line * rows + i));
        return all;
    }
};

template <class Family> grid grid_of(const owned<Family> &m)
{
    EXPECT_EQ(m.data == nullptr, m.size == 0);
    EXPECT_EQ(m.size, m.rows * m.cols);
    return {m.rows, m.cols, m.first(static_cast<std::size_t>(Family::size(&m)))};
}

template <class Family> struct matrices_and_grids {
    std::array<owned<Family>, 2> matrices;
    std::array<grid, 2> grids;
    owned<typename Family::vectors> vector;
    numbers row;
    chooser choose{/*seed=*/2};

    /// Runs a call, sometimes without memory, that says `result` and leaves `target` as `after`.
    template <class Target, class Run>
    void expect(Target &target, const Target &after, int32_t result, const Run &run)
    {
        const auto index = static_cast<std::size_t>(choose.from(0, 1));
        const failing_allocation failure{index};
        const int32_t actual = run();
        EXPECT_TRUE(index == 0 || !failure.happened()) << "one allocation is all it takes";
        target = failure.happened() ? Target{} : after;
        EXPECT_EQ(actual, failure.happened() ? 0 : result);
        for (std::size_t i = 0; i < grids.size(); ++i) ASSERT_EQ(grid_of(matrices[i]), grids[i]);
        ASSERT_EQ(vector.first(static_cast<std::size_t>(vector.length)), row);
    }
};

template <class Family> class Matrices : public ::testing::Test {
};
TYPED_TEST_SUITE(Matrices, matrix_families, family_names);

/// A new size, and new elements with it.
template <class Family> void resize(matrices_and_grids<Family> &all, std::size_t which)
{
    auto &m = all.matrices[which];
    const int32_t rows = all.choose.from(-1, 3), cols = all.choose.from(-1, 3);
    const bool is_empty = rows < 1 || cols < 1;
    const auto size = static_cast<std::size_t>(is_empty ? 0 : rows * cols);
    const bool stays = size != 0 && size == all.grids[which].elements.size();
    const grid after = is_empty ? grid{} : grid{rows, cols, all.choose.row(size)};
    const auto *const array = m.data;
    all.expect(all.grids[which], stays ? all.grids[which] : after, stays ? 0 : 1, [&] {
        const int32_t result = Family::set_size(&m, rows, cols);
        if (result != 0) m.fill(after.elements); // new elements are not initialised
        return result;
    });
    if (stays) {
        EXPECT_EQ(m.data, array);
    }
}

/// A row or a column to or from the vector.
template <class Family> void move_line(matrices_and_grids<Family> &all, std::size_t which)
{
    auto &m = all.matrices[which];
    grid after = all.grids[which];
    const bool of_row = all.choose.from(0, 1) != 0, sets = all.choose.from(0, 1) != 0;
    const int32_t line = all.choose.from(-1, 3);
    const bool exists = line >= 0 && line < (of_row ? after.rows : after.cols);
    const auto places = after.places(of_row, line);
    if (sets) {
        const bool fits = exists && all.row.size() == places.size();
        for (std::size_t i = 0; fits && i < places.size(); ++i)
            after.elements[places[i]] = all.row[i];
        all.expect(all.grids[which], after, fits ? 1 : 0, [&] {
            return (of_row ? Family::set_row : Family::set_col)(&all.vector, &m, line);
        });
        return;
    }
    numbers got = all.row;
    if (exists) got.clear();
    for (std::size_t i = 0; exists && i < places.size(); ++i)
        got.push_back(after.elements[places[i]]);
    all.expect(all.row, got, exists ? 1 : 0,
               [&] { return (of_row ? Family::get_row : Family::get_col)(&m, &all.vector, line); });
}

template <class Family> void make_any_call(matrices_and_grids<Family> &all)
{
    const auto which = static_cast<std::size_t>(all.choose.from(0, 1));
    auto &m = all.matrices[which];
    grid &here = all.grids[which];
    const grid &other = all.grids[1 - which];
    switch (all.choose.from(0, 9)) {
    case 0:
        all.expect(here, {}, here.elements.empty() ? 0 : 1, [&] { return Family::free(&m); });
        break;
    case 1: {
        const grid zeros{here.rows, here.cols, numbers(here.elements.size())};
        all.expect(here, zeros, 1, [&] { return Family::clear(&m), 1; });
        break;
    }
    case 2: {
        const bool nothing = other.elements.empty() && !here.elements.empty();
        all.expect(here, nothing ? here : other, nothing ? 0 : 1,
                   [&] { return Family::copy(&all.matrices[1 - which], &m); });
        break;
    }
    case 3: {
        if (here.elements.empty()) break;
        const auto last = Family::get_value(&m, here.rows - 1, here.cols - 1);
        EXPECT_EQ(number_of(last), here.elements.back());
        Family::set_value(&m, element_for<typename Family::element>(77), here.rows - 1, 0);
        here.elements[static_cast<std::size_t>(here.rows - 1)] = 77;
        break;
    }
    case 4:
    case 5: resize(all, which); break;
    default: move_line(all, which);
    }
}

} // namespace

TYPED_TEST(Matrices, AreGridsOfNumbersThroughAnyCalls)
{
    matrices_and_grids<TypeParam> all;
    for (int call = 0; call < 20000 && !this->HasFatalFailure(); ++call) make_any_call(all);
}

TYPED_TEST(Matrices, RefuseArraysThatCannotBe)
{
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        owned<TypeParam> m;
        TypeParam::set_size(&m, 2, 2);
        EXPECT_EQ(TypeParam::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_EQ(grid_of(m), grid{});
    }
}
