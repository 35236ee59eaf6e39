// Every test here runs for all eight matrix families, from the header's own list.

#include "support/failing_memory.h"
#include "toolkit/elements.h"
#include "toolkit/scoped_vector.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

using namespace tonelink::test;

namespace {

/// The operations of a family under names without its prefix.
template <class Matrix> struct family;
#define DEFINE_FAMILY(M, V, T)                                                                     \
    template <> struct family<M> {                                                                 \
        using element = T;                                                                         \
        using vector = tonelink::scoped_vector<V>;                                                 \
        static constexpr const char *name = #M;                                                    \
        static constexpr auto init = M##_init;                                                     \
        static constexpr auto set_size = M##_set_size;                                             \
        static constexpr auto free = M##_free;                                                     \
        static constexpr auto clear = M##_clear;                                                   \
        static constexpr auto size = M##_size;                                                     \
        static constexpr auto set_value = M##_set_value;                                           \
        static constexpr auto get_value = M##_get_value;                                           \
        static constexpr auto copy = M##_copy;                                                     \
        static constexpr auto set_row = M##_set_row;                                               \
        static constexpr auto get_row = M##_get_row;                                               \
        static constexpr auto set_col = M##_set_col;                                               \
        static constexpr auto get_col = M##_get_col;                                               \
        static constexpr auto set_vector_length = V##_set_length;                                  \
    };
TONELINK_MATRIX_FAMILIES(DEFINE_FAMILY)
#undef DEFINE_FAMILY

/// A matrix that is freed at the end of its scope. Its element at row r, column c is 10 r + c + 1.
template <class Matrix> struct filled : Matrix {
    using operations = family<Matrix>;
    filled(int32_t row_count, int32_t col_count) : Matrix{}
    {
        operations::set_size(this, row_count, col_count);
        for (int32_t row = 0; row < row_count; ++row)
            for (int32_t col = 0; col < col_count; ++col)
                operations::set_value(
                    this, element_for<typename operations::element>(10 * row + col + 1), row, col);
    }
    filled(const filled &) = delete;
    filled &operator=(const filled &) = delete;
    ~filled() { operations::free(this); }
};

template <class Matrix> bool has_shape(const Matrix &m, int32_t rows, int32_t cols)
{
    return m.rows == rows && m.cols == cols && m.size == rows * cols &&
           (m.data == nullptr) == (m.size == 0);
}

template <class Matrix> bool is_empty(const Matrix &m) { return has_shape(m, 0, 0); }

template <class Matrix> class Matrices : public ::testing::Test {
};

struct family_names {
    template <class Matrix> static std::string GetName(int) { return family<Matrix>::name; }
};
#define FAMILY_TYPE(M, V, T) , M
using all_families = types_after_first<void TONELINK_MATRIX_FAMILIES(FAMILY_TYPE)>::types;
#undef FAMILY_TYPE
TYPED_TEST_SUITE(Matrices, all_families, family_names);

TYPED_TEST(Matrices, ChangeTheirArrayOnlyWithTheirSize)
{
    using operations = family<TypeParam>;
    filled<TypeParam> m(2, 3);
    EXPECT_EQ(stored(m), (numbers{1, 11, 2, 12, 3, 13})) << "not column by column";
    EXPECT_EQ(operations::size(&m), 6);
    EXPECT_EQ(number_of(operations::get_value(&m, 1, 2)), 13);
    const auto *const array = m.data;
    EXPECT_EQ(operations::set_size(&m, 3, 2), 0);
    EXPECT_TRUE(has_shape(m, 2, 3)) << "as many elements as before, so nothing changes";
    EXPECT_EQ(m.data, array);
    EXPECT_EQ(operations::set_size(&m, 4, 3), 1);
    EXPECT_TRUE(has_shape(m, 4, 3));
    operations::clear(&m);
    EXPECT_EQ(stored(m), numbers(12, 0));
    for (const auto &[rows, cols] : {std::pair{0, 5}, {5, 0}, {-1, -1}}) {
        operations::set_size(&m, 2, 2);
        EXPECT_EQ(operations::set_size(&m, rows, cols), 1);
        EXPECT_TRUE(is_empty(m));
        EXPECT_EQ(operations::set_size(&m, rows, cols), 1);
    }
    EXPECT_EQ(operations::free(&m), 0);
    operations::set_size(&m, 1, 1);
    EXPECT_EQ(operations::free(&m), 1);
    EXPECT_TRUE(is_empty(m));

    filled<TypeParam> owner(1, 1);
    TypeParam other = owner;
    operations::init(&other);
    EXPECT_TRUE(is_empty(other));
    EXPECT_EQ(stored(owner), numbers{1}) << "init released the array";
}

TYPED_TEST(Matrices, CopyUnlessOnlyTheSourceIsEmpty)
{
    using operations = family<TypeParam>;
    const filled<TypeParam> src(3, 2), nothing(0, 0);
    const auto *const kept = "an array of the same size is kept";
    filled<TypeParam> same(2, 3), other(2, 2), none(0, 0);
    const auto *const array = same.data;
    for (TypeParam *dst : {&same, &other, &none}) {
        EXPECT_EQ(operations::copy(&src, dst), 1);
        EXPECT_TRUE(has_shape(*dst, 3, 2));
        EXPECT_EQ(stored(*dst), stored(src));
    }
    EXPECT_EQ(same.data, array) << kept;
    EXPECT_EQ(operations::copy(&nothing, &same), 0);
    EXPECT_TRUE(has_shape(same, 3, 2));
    EXPECT_EQ(same.data, array) << kept;
    EXPECT_EQ(operations::copy(&same, &same), 1);
    EXPECT_EQ(stored(same), stored(src));
    operations::free(&none);
    EXPECT_EQ(operations::copy(&nothing, &none), 1);
    EXPECT_TRUE(is_empty(none));
}

TYPED_TEST(Matrices, RowsAndColumns)
{
    using operations = family<TypeParam>;
    filled<TypeParam> m(2, 3);
    typename operations::vector v;
    const auto set_vector = [&v](const numbers &values) {
        operations::set_vector_length(&v, static_cast<int32_t>(values.size()));
        for (std::size_t i = 0; i < values.size(); ++i)
            v.data[i] = element_for<typename operations::element>(values[i]);
    };
    EXPECT_EQ(operations::get_row(&m, &v, 1), 1);
    EXPECT_EQ(stored(v), (numbers{11, 12, 13}));
    EXPECT_EQ(operations::get_col(&m, &v, 2), 1);
    EXPECT_EQ(stored(v), (numbers{3, 13}));
    for (const int32_t row : {-1, 2, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(operations::get_row(&m, &v, row), 0);
        EXPECT_EQ(operations::get_col(&m, &v, row == 2 ? 3 : row), 0);
    }
    EXPECT_EQ(stored(v), (numbers{3, 13})) << "changed by a row that is not there";

    set_vector({7, 8, 9});
    EXPECT_EQ(operations::set_row(&v, &m, 0), 1);
    EXPECT_EQ(operations::set_row(&v, &m, 2), 0);
    EXPECT_EQ(operations::set_row(&v, &m, -1), 0);
    EXPECT_EQ(operations::set_col(&v, &m, 0), 0) << "a column has two elements";
    EXPECT_EQ(stored(m), (numbers{7, 11, 8, 12, 9, 13}));
    set_vector({5, 6});
    EXPECT_EQ(operations::set_col(&v, &m, 1), 1);
    EXPECT_EQ(operations::set_col(&v, &m, 3), 0);
    EXPECT_EQ(operations::set_col(&v, &m, -1), 0);
    EXPECT_EQ(operations::set_row(&v, &m, 0), 0) << "a row has three elements";
    EXPECT_EQ(stored(m), (numbers{7, 11, 5, 6, 9, 13}));
}

TYPED_TEST(Matrices, WhatCannotGetItsArrayIsLeftEmpty)
{
    using operations = family<TypeParam>;
    struct records {
        filled<TypeParam> src{2, 3}, dst{1, 1};
        typename operations::vector v;
    };
    struct operation {
        const char *name;
        std::function<int32_t(records &)> run;
    };
    for (const auto &[name, run] : {
             operation{"set_size", [](auto &r) { return operations::set_size(&r.dst, 4, 5); }},
             operation{"copy", [](auto &r) { return operations::copy(&r.src, &r.dst); }},
             operation{"get_row", [](auto &r) { return operations::get_row(&r.src, &r.v, 0); }},
             operation{"get_col", [](auto &r) { return operations::get_col(&r.src, &r.v, 0); }},
         }) {
        SCOPED_TRACE(name);
        records r;
        operations::set_vector_length(&r.v, 1);
        {
            const failing_allocation failure(0);
            EXPECT_EQ(run(r), 0);
            EXPECT_TRUE(failure.happened());
        }
        EXPECT_NE(is_empty(r.dst), !r.v.data) << "the one that was to change, and no other";
        EXPECT_EQ(r.v.length, r.v.data ? 1 : 0);
        EXPECT_EQ(stored(r.src), (numbers{1, 11, 2, 12, 3, 13}));
        {
            const failing_allocation failure(1);
            EXPECT_EQ(run(r), 1);
            EXPECT_FALSE(failure.happened()) << "one allocation is all it takes";
        }
    }
    for (const auto &[rows, cols] : {std::pair{1 << 16, 1 << 15}, {1 << 16, 1 << 16}}) {
        filled<TypeParam> m(2, 2);
        EXPECT_EQ(operations::set_size(&m, rows, cols), 0) << rows << " x " << cols;
        EXPECT_TRUE(is_empty(m));
    }
}

} // namespace
