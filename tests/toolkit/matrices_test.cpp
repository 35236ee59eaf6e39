// Every test here runs for all eight matrix families.

#include "support/failing_memory.h"
#include "toolkit/families.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

using namespace tonelink::test;

namespace {

/// A matrix whose element at row r, column c is 10 r + c + 1.
template <class Family> struct numbered : filled<Family> {
    numbered(int32_t row_count, int32_t col_count) : filled<Family>(numbers{})
    {
        Family::set_size(this, row_count, col_count);
        for (int32_t row = 0; row < row_count; ++row)
            for (int32_t col = 0; col < col_count; ++col)
                Family::set_value(this, element_for<typename Family::element>(10 * row + col + 1),
                                  row, col);
    }
};

template <class Matrix> bool has_shape(const Matrix &m, int32_t rows, int32_t cols)
{
    return m.data && m.rows == rows && m.cols == cols && m.size == rows * cols;
}

template <class Family> class Matrices : public ::testing::Test {
};
TYPED_TEST_SUITE(Matrices, matrix_families, family_names);

TYPED_TEST(Matrices, ChangeTheirShapeOnlyWithTheirSize)
{
    numbered<TypeParam> m(2, 3);
    EXPECT_EQ(m.stored(), (numbers{1, 11, 2, 12, 3, 13})) << "not column by column";
    EXPECT_EQ(number_of(TypeParam::get_value(&m, 1, 2)), 13);
    EXPECT_EQ(TypeParam::set_size(&m, 3, 2), 0);
    EXPECT_TRUE(has_shape(m, 2, 3)) << "as many elements as before, so nothing changes";
    EXPECT_EQ(TypeParam::set_size(&m, 4, 3), 1);
    EXPECT_TRUE(has_shape(m, 4, 3));
    EXPECT_EQ(TypeParam::set_size(&m, 5, 0), 1);
    EXPECT_TRUE(is_empty(m));
}

TYPED_TEST(Matrices, TakeTheShapeOfWhatTheyCopy)
{
    const numbered<TypeParam> src(3, 2);
    numbered<TypeParam> same_size(2, 3), other_size(2, 2);
    for (auto *const dst : {&same_size, &other_size}) {
        EXPECT_EQ(TypeParam::copy(&src, dst), 1);
        EXPECT_TRUE(has_shape(*dst, 3, 2));
        EXPECT_EQ(dst->stored(), src.stored());
    }
}

TYPED_TEST(Matrices, RowsAndColumns)
{
    numbered<TypeParam> m(2, 3);
    filled<typename TypeParam::vectors> row{}, col{};
    EXPECT_EQ(TypeParam::get_row(&m, &row, 1), 1);
    EXPECT_EQ(TypeParam::get_col(&m, &col, 2), 1);
    for (const int32_t outside : {-1, 3, INT32_MIN, INT32_MAX}) {
        const int32_t row_outside = outside == 3 ? 2 : outside;
        EXPECT_EQ(TypeParam::get_row(&m, &row, row_outside), 0);
        EXPECT_EQ(TypeParam::set_row(&row, &m, row_outside), 0);
        EXPECT_EQ(TypeParam::get_col(&m, &col, outside), 0);
        EXPECT_EQ(TypeParam::set_col(&col, &m, outside), 0);
    }
    EXPECT_EQ(TypeParam::set_row(&col, &m, 0), 0) << "a row has three elements";
    EXPECT_EQ(TypeParam::set_col(&row, &m, 0), 0) << "a column has two elements";
    EXPECT_EQ(row.stored(), (numbers{11, 12, 13}));
    EXPECT_EQ(col.stored(), (numbers{3, 13}));
    EXPECT_EQ(m.stored(), (numbers{1, 11, 2, 12, 3, 13})) << "changed by what was refused";
    EXPECT_EQ(TypeParam::set_row(&row, &m, 0), 1);
    EXPECT_EQ(m.stored(), (numbers{11, 11, 12, 12, 13, 13}));
    EXPECT_EQ(TypeParam::set_col(&col, &m, 1), 1);
    EXPECT_EQ(m.stored(), (numbers{11, 11, 3, 13, 13, 13}));
}

TYPED_TEST(Matrices, WhatCannotGetItsArrayIsLeftEmpty)
{
    struct records {
        numbered<TypeParam> src{2, 3}, dst{1, 1};
        filled<typename TypeParam::vectors> v{1};
    };
    struct operation {
        const char *name;
        std::function<int32_t(records &)> run;
    };
    for (const auto &[name, run] : {
             operation{"set_size", [](auto &r) { return TypeParam::set_size(&r.dst, 4, 5); }},
             operation{"copy", [](auto &r) { return TypeParam::copy(&r.src, &r.dst); }},
             operation{"get_row", [](auto &r) { return TypeParam::get_row(&r.src, &r.v, 0); }},
             operation{"get_col", [](auto &r) { return TypeParam::get_col(&r.src, &r.v, 0); }},
         }) {
        SCOPED_TRACE(name);
        records r;
        const failing_allocation first(0);
        EXPECT_EQ(run(r), 0);
        EXPECT_TRUE(first.happened());
        EXPECT_NE(is_empty(r.dst), is_empty(r.v)) << "the one that was to change, and no other";
        EXPECT_EQ(r.src.stored(), (numbers{1, 11, 2, 12, 3, 13}));
        const failing_allocation second(1);
        EXPECT_EQ(run(r), 1);
        EXPECT_FALSE(second.happened()) << "one allocation is all it takes";
    }
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        numbered<TypeParam> m(2, 2);
        EXPECT_EQ(TypeParam::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_TRUE(is_empty(m));
    }
}

} // namespace
