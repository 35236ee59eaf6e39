/**
 * @file
 * The signal toolkit: memory, file and clock wrappers, resizable vectors and column-major matrices
 * of eight element families, and complex scalars.
 *
 * Nothing here keeps state, locks or logs: any number of threads may work on different records.
 */
#ifndef TONELINK_TOOLKIT_H
#define TONELINK_TOOLKIT_H

#include <stdint.h>
#include <stdio.h>

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Memory and text ---------------------------------------------------------------------- */

/**
 * Allocates `size` bytes, not cleared. Containers and modem states get all their memory here.
 * @return the block, to be released with ac_free_memory(), or null when there is no memory
 */
TONELINK_API void *ac_allocate_memory(uint32_t size);

/** Releases a block of ac_allocate_memory(); null does nothing. */
TONELINK_API void ac_free_memory(void *memory);

/** Sets `length` bytes to zero. */
TONELINK_API void ac_zero_memory(void *memory, uint32_t length);

/** Copies `length` bytes from `source` to `destination`; the two ranges must not overlap. */
TONELINK_API void ac_copy_memory(void *destination, const void *source, uint32_t length);

/** Compares bytes as memcmp() does: negative, zero or positive. */
TONELINK_API int32_t ac_compare_memory(const void *first, const void *second, uint32_t length);

/** Number of characters before the terminator. */
TONELINK_API uint32_t ac_strlen(const char *text);

/**
 * Overwrites the characters that `destination` holds at the moment: at most its own current length
 * is copied, as strncpy() does, so a shorter source is padded with zero bytes up to that length and
 * the text never grows.
 * @return 1
 */
TONELINK_API int32_t ac_strcpy(char *destination, const char *source);

/** First occurrence of `pattern` in `text`, or null. */
TONELINK_API char *ac_strstr(const char *text, const char *pattern);

/* ---- Files -------------------------------------------------------------------------------- */

/**
 * Opens the file whose path is `directory` followed directly by `name`: no separator is put between
 * the two, and the joined path is cut to 254 characters.
 * @param directory  what the path begins with, or null for nothing
 * @param name       null is refused
 * @param mode       0: read ("rb").
 *                   1: write from the start ("wb"), the file being created or truncated, but never
 *                   through a symbolic link: a link is left alone with its target, and the line
 *                   "Symbolic link is detected" is printed on standard output; so is "lstat failed"
 *                   where a path that may exist cannot be examined.
 *                   2: read and append ("ab+"), the file being created if needed.
 *                   Any other mode is refused.
 * @return the stream, to be closed with ac_fclose(), or null
 */
TONELINK_API FILE *ac_fopen(const char *directory, const char *name, int32_t mode);

/** Reads up to `count` bytes into `buffer`; returns the number read. */
TONELINK_API uint32_t ac_fread(FILE *stream, void *buffer, uint32_t count);

/** Writes `count` bytes from `buffer`; returns the number written. */
TONELINK_API uint32_t ac_fwrite(FILE *stream, const void *buffer, uint32_t count);

/** Moves the position; `origin` is SEEK_SET, SEEK_CUR or SEEK_END. Returns 0, or -1 on failure. */
TONELINK_API int32_t ac_fseek(FILE *stream, int32_t offset, int32_t origin);

/** Current position in bytes; -1 on failure and where it does not fit. */
TONELINK_API int32_t ac_ftell(FILE *stream);

/** Nonzero once a read has met the end of the file. */
TONELINK_API int32_t ac_feof(FILE *stream);

/** Closes the stream: 0, or EOF on failure. */
TONELINK_API int32_t ac_fclose(FILE *stream);

/** Deletes a file: 0, or -1 on failure and for a null path. */
TONELINK_API int32_t ac_remove(const char *path);

/**
 * Size of the file in bytes; -1 on failure and where it does not fit. What has been written is
 * flushed first; the position afterwards is the start of the file.
 */
TONELINK_API int32_t ac_get_file_size(FILE *stream);

/* ---- Clock -------------------------------------------------------------------------------- */

/** Seconds of the wall clock times 1000, modulo 2^32: milliseconds in steps of a second. */
TONELINK_API uint32_t get_system_time(void);

/* ---- Complex scalars ---------------------------------------------------------------------- */

/** Complex number in single precision. */
typedef struct cplx {
    float re;
    float im;
} cplx;

/** Complex integer of 16-bit parts, real part first in memory. Not a fraction. */
typedef struct cplx16 {
    int16_t re;
    int16_t im;
} cplx16;

/** Complex integer of 32-bit parts. Not a fraction. */
typedef struct cplx32 {
    int32_t re;
    int32_t im;
} cplx32;

/**
 * The complex types C with parts of type P, real results as type R, and what each operation does.
 * All are pure functions.
 *
 * `cplx` counts in single precision. `cplx32` counts modulo 2^32. `cplx16` counts in 32 bits and
 * keeps the low 16 bits of each result. Integer quotients truncate toward zero; the one that does
 * not exist, -2^31 / -1, wraps to -2^31.
 *
 * - `C_one()`, `C_zero()`: 1 and 0.
 * - `C_conj(a)`: the conjugate.
 * - `C_get_real(a)`, `C_get_imag(a)`: the parts.
 * - `C_add(a, b)`, `C_sub(a, b)`, `C_mul(a, b)`: sum, difference and product.
 * - `C_mul_real(a, k)`: both parts times k.
 * - `C_div_real(a, d)`: both parts by d; 0 when d is zero.
 * - `C_div(a, b)`: a times the conjugate of b, both parts divided by n = |b|^2, which is cut as any
 *   result (`cplx16`: its low 16 bits, signed); 0 when n is zero.
 * - `C_square(a)`: the squared magnitude, a real value (not a times a).
 * - `C_arg(a)`: the angle in radians, -pi to pi; always 0 for the integer types.
 * - `C_abs(a)`: the magnitude, the root of `C_square(a)`; always 0 for the integer types.
 */
#define TONELINK_COMPLEX_TYPES(X)                                                                  \
    X(cplx, float, float)                                                                          \
    X(cplx16, int16_t, int32_t)                                                                    \
    X(cplx32, int32_t, int32_t)
#define TONELINK_DECLARE_COMPLEX(C, P, R)                                                          \
    TONELINK_API C C##_one(void);                                                                  \
    TONELINK_API C C##_zero(void);                                                                 \
    TONELINK_API C C##_conj(C a);                                                                  \
    TONELINK_API R C##_get_real(C a);                                                              \
    TONELINK_API R C##_get_imag(C a);                                                              \
    TONELINK_API C C##_add(C a, C b);                                                              \
    TONELINK_API C C##_sub(C a, C b);                                                              \
    TONELINK_API C C##_mul(C a, C b);                                                              \
    TONELINK_API C C##_mul_real(C a, P k);                                                         \
    TONELINK_API C C##_div_real(C a, P d);                                                         \
    TONELINK_API C C##_div(C a, C b);                                                              \
    TONELINK_API R C##_square(C a);                                                                \
    TONELINK_API R C##_arg(C a);                                                                   \
    TONELINK_API R C##_abs(C a);
TONELINK_COMPLEX_TYPES(TONELINK_DECLARE_COMPLEX)
#undef TONELINK_DECLARE_COMPLEX

/* ---- Vectors ------------------------------------------------------------------------------ */

/**
 * The vector families V with elements of type T, handed out as type R, and what each operation
 * does.
 *
 * A record holds an array of exactly `length` elements, or null and 0 when it is empty; a zeroed
 * record is empty. The caller owns the record; the record owns its array, which comes from
 * ac_allocate_memory(), and must be freed before it is discarded. A change of length makes a new
 * array; an unchanged length keeps array and address. New elements are not initialised.
 *
 * When a new array cannot be had, the vector that was to get it is left empty and the operation
 * returns 0; an array that an int32 cannot count or 2^32 - 1 bytes cannot hold is never to be had.
 * Source and destination may be the same record. Elements of `bvec` are bits, 0 or 1, by
 * convention; nothing checks that.
 *
 * - `V_init(v)`: makes a record empty; releases nothing.
 * - `V_set_length(v, n)`: gives the vector n elements. Returns 1, the old elements lost, or 0, all
 *   kept, when it has n already. 0 or less empties it and returns 1.
 * - `V_free(v)`: releases the array. Returns 1, or 0 when there is none.
 * - `V_clear(v)`: sets every element to zero.
 * - `V_length(v)`: the number of elements.
 * - `V_set_value(v, value, i)`, `V_get_value(v, i)`: one element. Not checked: 0 <= i < length.
 * - `V_copy(src, dst)`: makes dst equal to src. Returns 1, or 0 with dst unchanged when src is
 *   empty and dst is not.
 * - `V_mid(src, dst, first, last)`: makes dst the elements first to last of src, both included; -1
 *   stands for the last element. last = first - 1 is an empty range, which empties dst, but a bad
 *   one for `bvec`. Returns 1, or 0 with dst unchanged on a bad range.
 * - `V_concat(a, b, dst)`: makes dst a followed by b. Two empty vectors leave dst as it is.
 */
#define TONELINK_VECTOR_FAMILIES(X)                                                                \
    X(vec, float, float)                                                                           \
    X(vec16, int16_t, int32_t)                                                                     \
    X(vec32, int32_t, int32_t)                                                                     \
    X(ivec, int32_t, int32_t)                                                                      \
    X(bvec, uint8_t, int32_t)                                                                      \
    X(cvec, cplx, cplx)                                                                            \
    X(cvec16, cplx16, cplx16)                                                                      \
    X(cvec32, cplx32, cplx32)
#define TONELINK_DECLARE_VECTOR(V, T, R)                                                           \
    typedef struct V {                                                                             \
        T *data;                                                                                   \
        int32_t length;                                                                            \
    } V;                                                                                           \
    TONELINK_API void V##_init(V *v);                                                              \
    TONELINK_API int32_t V##_set_length(V *v, int32_t n);                                          \
    TONELINK_API int32_t V##_free(V *v);                                                           \
    TONELINK_API void V##_clear(V *v);                                                             \
    TONELINK_API int32_t V##_length(const V *v);                                                   \
    TONELINK_API void V##_set_value(V *v, T value, int32_t i);                                     \
    TONELINK_API R V##_get_value(const V *v, int32_t i);                                           \
    TONELINK_API int32_t V##_copy(const V *src, V *dst);                                           \
    TONELINK_API int32_t V##_mid(const V *src, V *dst, int32_t first, int32_t last);               \
    TONELINK_API void V##_concat(const V *a, const V *b, V *dst);
TONELINK_VECTOR_FAMILIES(TONELINK_DECLARE_VECTOR)
#undef TONELINK_DECLARE_VECTOR

/**
 * Further operations of `vec`, `vec16` and `vec32`:
 *
 * - `V_mid_inplace(v, first, last)`: v becomes its own elements first to last, with the rules and
 *   results of `V_mid`.
 * - `V_concat_inplace(a, b)`: b becomes b followed by a. An empty a changes nothing.
 */
#define TONELINK_INPLACE_FAMILIES(X) X(vec) X(vec16) X(vec32)
#define TONELINK_DECLARE_INPLACE(V)                                                                \
    TONELINK_API int32_t V##_mid_inplace(V *v, int32_t first, int32_t last);                       \
    TONELINK_API void V##_concat_inplace(const V *a, V *b);
TONELINK_INPLACE_FAMILIES(TONELINK_DECLARE_INPLACE)
#undef TONELINK_DECLARE_INPLACE

/**
 * vec16_set_length() that keeps the leading elements, as many as the new length has room for; those
 * behind them are not initialised. Same results.
 */
TONELINK_API int32_t vec16_set_length_save_data(vec16 *v, int32_t n);

/* ---- Matrices ----------------------------------------------------------------------------- */

/**
 * The matrix families M, the vector family V of their rows and columns, their elements T, and the
 * type R as which one is handed out.
 *
 * The element at row r, column c is element c x rows + r of `data` (column-major); `size` is
 * rows x cols. An empty record is all zero. Ownership, memory and failure are as for vectors.
 *
 * - `M_init(m)`: makes a record empty; releases nothing.
 * - `M_set_size(m, rows, cols)`: gives the matrix rows x cols elements. Returns 1, the old elements
 *   lost, or 0 with everything unchanged, `rows` and `cols` too, when it has that many elements
 *   already. A count below 1 empties it and returns 1.
 * - `M_free(m)`: releases the array. Returns 1, or 0 when there is none.
 * - `M_clear(m)`: sets every element to zero.
 * - `M_size(m)`: the number of elements.
 * - `M_set_value(m, value, row, col)`, `M_get_value(m, row, col)`: one element. Not checked: that
 *   row and col are inside.
 * - `M_copy(src, dst)`: makes dst equal to src. Returns 1, or 0 with dst unchanged when src is
 *   empty and dst is not.
 * - `M_set_row(v, m, row)`, `M_set_col(v, m, col)`: overwrite a row or column with v. Return 1, or
 *   0 with m unchanged when there is no such row or column or v has another length.
 * - `M_get_row(m, v, row)`, `M_get_col(m, v, col)`: make v equal to a row or column. Return 1, or 0
 *   with v unchanged when there is no such row or column.
 */
#define TONELINK_MATRIX_FAMILIES(X)                                                                \
    X(mat, vec, float, float)                                                                      \
    X(mat16, vec16, int16_t, int32_t)                                                              \
    X(mat32, vec32, int32_t, int32_t)                                                              \
    X(imat, ivec, int32_t, int32_t)                                                                \
    X(bmat, bvec, uint8_t, int32_t)                                                                \
    X(cmat, cvec, cplx, cplx)                                                                      \
    X(cmat16, cvec16, cplx16, cplx16)                                                              \
    X(cmat32, cvec32, cplx32, cplx32)
#define TONELINK_DECLARE_MATRIX(M, V, T, R)                                                        \
    typedef struct M {                                                                             \
        T *data;                                                                                   \
        int32_t rows;                                                                              \
        int32_t cols;                                                                              \
        int32_t size;                                                                              \
    } M;                                                                                           \
    TONELINK_API void M##_init(M *m);                                                              \
    TONELINK_API int32_t M##_set_size(M *m, int32_t rows, int32_t cols);                           \
    TONELINK_API int32_t M##_free(M *m);                                                           \
    TONELINK_API void M##_clear(M *m);                                                             \
    TONELINK_API int32_t M##_size(const M *m);                                                     \
    TONELINK_API void M##_set_value(M *m, T value, int32_t row, int32_t col);                      \
    TONELINK_API R M##_get_value(const M *m, int32_t row, int32_t col);                            \
    TONELINK_API int32_t M##_copy(const M *src, M *dst);                                           \
    TONELINK_API int32_t M##_set_row(const V *v, M *m, int32_t row);                               \
    TONELINK_API int32_t M##_get_row(const M *m, V *v, int32_t row);                               \
    TONELINK_API int32_t M##_set_col(const V *v, M *m, int32_t col);                               \
    TONELINK_API int32_t M##_get_col(const M *m, V *v, int32_t col);
TONELINK_MATRIX_FAMILIES(TONELINK_DECLARE_MATRIX)
#undef TONELINK_DECLARE_MATRIX

#ifdef __cplusplus
}
#endif

#endif
