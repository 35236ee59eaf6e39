// The eight vector families: their behaviour once, as templates, and the C names stamped from the
// lists of families. Every array has exactly as many elements as its record says; there is no
// capacity. Source and destination may be the same record.

#include "toolkit/containers.h"
#include "toolkit/scoped_vector.h"

#include <algorithm>

namespace tonelink {
namespace {

/// Whether `first == last + 1` is an empty range rather than a bad one.
template <class Vector> constexpr bool has_empty_range = true;
template <> constexpr bool has_empty_range<bvec> = false;

template <class Vector> int32_t copy(const Vector &src, Vector &dst)
{
    if (src.length != dst.length && (src.length < 1 || !make_room(dst, src.length))) return 0;
    copy_elements(dst.data, src.data, src.length);
    return 1;
}

template <class Vector> int32_t mid(const Vector &src, Vector &dst, int32_t first, int32_t last)
{
    const int32_t end = src.length;
    if (first == -1) first = end - 1;
    if (last == -1) last = end - 1;
    if (first < 0 || last >= end) return 0;
    if (first > last) {
        if (!has_empty_range<Vector> || last != first - 1) return 0;
        set_length(dst, 0);
        return 1;
    }
    const int32_t count = last - first + 1;
    const auto *const elements = src.data + first;
    scoped_vector<Vector> replaced; // keeps the elements of a dst that becomes a part of itself
    if (&src == &dst && count != end) replaced.take(dst);
    if (!make_room(dst, count)) return 0;
    copy_elements(dst.data, elements, count);
    return 1;
}

template <class Vector> void concat(const Vector &a, const Vector &b, Vector &dst)
{
    if (a.length < 1 || b.length < 1) {
        const Vector &only = a.length < 1 ? b : a;
        if (only.length > 0) copy(only, dst);
        return;
    }
    const Vector head = a, tail = b; // where the elements are, whatever becomes of dst
    scoped_vector<Vector> replaced;  // keeps those of a dst that is one of the two
    if (&dst == &a || &dst == &b) replaced.take(dst);
    if (!make_room(dst, int64_t{head.length} + tail.length)) return;
    copy_elements(dst.data, head.data, head.length);
    copy_elements(dst.data + head.length, tail.data, tail.length);
}

template <class Vector> int32_t set_length_save_data(Vector &v, int32_t n)
{
    if (n > 0 && v.data && v.length == n) return 0;
    scoped_vector<Vector> replaced;
    replaced.take(v);
    if (!make_room(v, n)) return 0;
    copy_elements(v.data, replaced.data, std::min(replaced.length, n));
    return 1;
}

} // namespace
} // namespace tonelink

#define DEFINE_VECTOR(V, T, R)                                                                     \
    void V##_init(V *v) { *v = {}; }                                                               \
    int32_t V##_set_length(V *v, int32_t n) { return tonelink::set_length(*v, n); }                \
    int32_t V##_free(V *v) { return tonelink::free_vector(*v); }                                   \
    void V##_clear(V *v) { std::fill_n(v->data, v->length, T{}); }                                 \
    int32_t V##_length(const V *v) { return v->length; }                                           \
    void V##_set_value(V *v, T value, int32_t i) { v->data[i] = value; }                           \
    R V##_get_value(const V *v, int32_t i) { return v->data[i]; }                                  \
    int32_t V##_copy(const V *src, V *dst) { return tonelink::copy(*src, *dst); }                  \
    int32_t V##_mid(const V *src, V *dst, int32_t first, int32_t last)                             \
    {                                                                                              \
        return tonelink::mid(*src, *dst, first, last);                                             \
    }                                                                                              \
    void V##_concat(const V *a, const V *b, V *dst) { tonelink::concat(*a, *b, *dst); }
TONELINK_VECTOR_FAMILIES(DEFINE_VECTOR)
#undef DEFINE_VECTOR

#define DEFINE_INPLACE(V)                                                                          \
    int32_t V##_mid_inplace(V *v, int32_t first, int32_t last)                                     \
    {                                                                                              \
        return tonelink::mid(*v, *v, first, last);                                                 \
    }                                                                                              \
    void V##_concat_inplace(const V *a, V *b) { tonelink::concat(*b, *a, *b); }
TONELINK_INPLACE_FAMILIES(DEFINE_INPLACE)
#undef DEFINE_INPLACE

int32_t vec16_set_length_save_data(vec16 *v, int32_t n)
{
    return tonelink::set_length_save_data(*v, n);
}
