// The eight matrix families: their behaviour once, as templates, and the C names stamped from the
// list of families. Elements lie column by column: a column is a run, a row strides by `rows`.

#include "toolkit/containers.h"

#include <algorithm>
#include <cstddef>

namespace tonelink {
namespace {

/// Where the element at `row` and `col` lies in `data`.
template <class Matrix> std::size_t index_of(const Matrix &m, int32_t row, int32_t col)
{
    return static_cast<std::size_t>(col) * static_cast<std::size_t>(m.rows) +
           static_cast<std::size_t>(row);
}

template <class Matrix> int32_t free_matrix(Matrix &m)
{
    if (!m.data || m.size < 1) return 0;
    ac_free_memory(m.data);
    m = {};
    return 1;
}

template <class Matrix> int32_t set_size(Matrix &m, int32_t rows, int32_t cols)
{
    const bool empty = rows < 1 || cols < 1;
    const int64_t n = empty ? 0 : int64_t{rows} * cols;
    if (!empty && m.data && m.size == n) return 0;
    free_matrix(m);
    m = {};
    if (empty) return 1;
    auto *const elements = allocate_elements<element_of<Matrix>>(n);
    if (!elements) return 0;
    m = {elements, rows, cols, static_cast<int32_t>(n)};
    return 1;
}

template <class Matrix> int32_t copy(const Matrix &src, Matrix &dst)
{
    if (src.size != dst.size) {
        if (src.size < 1) return 0;
        set_size(dst, src.rows, src.cols);
        if (dst.size != src.size) return 0;
    }
    copy_elements(dst.data, src.data, src.size);
    dst.rows = src.rows;
    dst.cols = src.cols;
    return 1;
}

bool is_within(int32_t i, int32_t count) { return 0 <= i && i < count; }

template <class Vector, class Matrix> int32_t set_row(const Vector &v, Matrix &m, int32_t row)
{
    if (!is_within(row, m.rows) || v.length != m.cols) return 0;
    for (int32_t col = 0; col < m.cols; ++col) m.data[index_of(m, row, col)] = v.data[col];
    return 1;
}

template <class Matrix, class Vector> int32_t get_row(const Matrix &m, Vector &v, int32_t row)
{
    if (!is_within(row, m.rows) || !make_room(v, m.cols)) return 0;
    for (int32_t col = 0; col < m.cols; ++col) v.data[col] = m.data[index_of(m, row, col)];
    return 1;
}

template <class Vector, class Matrix> int32_t set_col(const Vector &v, Matrix &m, int32_t col)
{
    if (!is_within(col, m.cols) || v.length != m.rows) return 0;
    copy_elements(m.data + index_of(m, 0, col), v.data, m.rows);
    return 1;
}

template <class Matrix, class Vector> int32_t get_col(const Matrix &m, Vector &v, int32_t col)
{
    if (!is_within(col, m.cols) || !make_room(v, m.rows)) return 0;
    copy_elements(v.data, m.data + index_of(m, 0, col), m.rows);
    return 1;
}

} // namespace
} // namespace tonelink

#define DEFINE_MATRIX(M, V, T, R)                                                                  \
    void M##_init(M *m) { *m = {}; }                                                               \
    int32_t M##_set_size(M *m, int32_t rows, int32_t cols)                                         \
    {                                                                                              \
        return tonelink::set_size(*m, rows, cols);                                                 \
    }                                                                                              \
    int32_t M##_free(M *m) { return tonelink::free_matrix(*m); }                                   \
    void M##_clear(M *m) { std::fill_n(m->data, m->size, T{}); }                                   \
    int32_t M##_size(const M *m) { return m->size; }                                               \
    void M##_set_value(M *m, T value, int32_t row, int32_t col)                                    \
    {                                                                                              \
        m->data[tonelink::index_of(*m, row, col)] = value;                                         \
    }                                                                                              \
    R M##_get_value(const M *m, int32_t row, int32_t col)                                          \
    {                                                                                              \
        return m->data[tonelink::index_of(*m, row, col)];                                          \
    }                                                                                              \
    int32_t M##_copy(const M *src, M *dst) { return tonelink::copy(*src, *dst); }                  \
    int32_t M##_set_row(const V *v, M *m, int32_t row) { return tonelink::set_row(*v, *m, row); }  \
    int32_t M##_get_row(const M *m, V *v, int32_t row) { return tonelink::get_row(*m, *v, row); }  \
    int32_t M##_set_col(const V *v, M *m, int32_t col) { return tonelink::set_col(*v, *m, col); }  \
    int32_t M##_get_col(const M *m, V *v, int32_t col) { return tonelink::get_col(*m, *v, col); }
TONELINK_MATRIX_FAMILIES(DEFINE_MATRIX)
#undef DEFINE_MATRIX
