// The vector and matrix families from the header's own lists, with elements as small numbers, so
// that one test reads the same for all.
#pragma once

#include "support/failing_memory.h"
#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

namespace tonelink::test {

#define OPERATION(F, name) static constexpr auto name = F##_##name;
#define DEFINE_FAMILY(F, T, R)                                                                     \
    using container = F;                                                                           \
    using element = T;                                                                             \
    static constexpr const char *family = #F;                                                      \
    OPERATION(F, init)                                                                             \
    OPERATION(F, free)                                                                             \
    OPERATION(F, clear) OPERATION(F, copy) OPERATION(F, set_value) OPERATION(F, get_value)

// The operations of each family under names without its prefix.
#define DEFINE_VECTORS(V, T, R)                                                                    \
    struct V##_family {                                                                            \
        DEFINE_FAMILY(V, T, R)                                                                     \
        OPERATION(V, set_length) OPERATION(V, length) OPERATION(V, mid) OPERATION(V, concat)       \
    };
TONELINK_VECTOR_FAMILIES(DEFINE_VECTORS)
#undef DEFINE_VECTORS

#define DEFINE_MATRICES(M, V, T, R)                                                                \
    struct M##_family {                                                                            \
        using vectors = V##_family;                                                                \
        DEFINE_FAMILY(M, T, R)                                                                     \
        OPERATION(M, set_size)                                                                     \
        OPERATION(M, size)                                                                         \
        OPERATION(M, set_row) OPERATION(M, get_row) OPERATION(M, set_col) OPERATION(M, get_col)    \
    };
TONELINK_MATRIX_FAMILIES(DEFINE_MATRICES)
#undef DEFINE_MATRICES
#undef DEFINE_FAMILY
#undef OPERATION

/// The list of test types of a macro that gives ", Family" for each family.
template <class, class... Families> using types_after_first = ::testing::Types<Families...>;
#define VECTOR_FAMILY(V, T, R) , V##_family
#define MATRIX_FAMILY(M, V, T, R) , M##_family
using vector_families = types_after_first<void TONELINK_VECTOR_FAMILIES(VECTOR_FAMILY)>;
using matrix_families = types_after_first<void TONELINK_MATRIX_FAMILIES(MATRIX_FAMILY)>;
#undef VECTOR_FAMILY
#undef MATRIX_FAMILY

struct family_names {
    template <class Family> static std::string GetName(int) { return Family::family; }
};

/// The element that stands for `number`, 0 to 127. A complex one has another imaginary part.
template <class T> T element_for(int number)
{
    if constexpr (std::is_class_v<T>)
        return {static_cast<decltype(T::re)>(number), static_cast<decltype(T::im)>(-2 * number)};
    else
        return static_cast<T>(number);
}

/// `count` elements, from the one for `first` on.
template <class T> std::vector<T> elements_from(int first, int count)
{
    std::vector<T> elements;
    for (int i = 0; i < count; ++i) elements.push_back(element_for<T>(first + i));
    return elements;
}

/// An empty container that is freed at the end of its scope.
template <class Family> struct owned : Family::container {
    using row = std::vector<typename Family::element>;

    owned() { Family::init(this); }
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    ~owned() { Family::free(this); }

    /// Overwrites the first elements, which lie one after the other.
    void fill(const row &values) { std::ranges::copy(values, this->data); }
    row first(int32_t count) const { return {this->data, this->data + count}; }
};

/// Runs a call with the allocation of this index failing, 0 or 1, and expects `result` of it, or 0
/// without memory. Returns whether it had all memory that it asked for.
template <class Run> bool runs(std::size_t index, int32_t result, const Run &run)
{
    const failing_allocation failure{index};
    const int32_t actual = run();
    EXPECT_TRUE(index == 0 || !failure.happened()) << "one allocation is all it takes";
    EXPECT_EQ(actual, failure.happened() ? 0 : result);
    return !failure.happened();
}

} // namespace tonelink::test

/// Complex elements, as numbers.
template <class Complex>
requires(sizeof(Complex::re) == sizeof(Complex::im)) bool operator==(Complex a, Complex b)
{
    return a.re == b.re && a.im == b.im;
}
