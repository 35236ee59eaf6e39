// The vector and matrix families from the header's own lists, with elements as small numbers, so
// that one test reads the same for all.
#pragma once

#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

namespace tonelink::test {

// The operations of each family under names without its prefix.
#define DEFINE_FAMILY(V, T)                                                                        \
    struct V##_family {                                                                            \
        using container = V;                                                                       \
        using element = T;                                                                         \
        static constexpr const char *name = #V;                                                    \
        static constexpr auto init = V##_init;                                                     \
        static constexpr auto set_length = V##_set_length;                                         \
        static constexpr auto free = V##_free;                                                     \
        static constexpr auto clear = V##_clear;                                                   \
        static constexpr auto length = V##_length;                                                 \
        static constexpr auto set_value = V##_set_value;                                           \
        static constexpr auto get_value = V##_get_value;                                           \
        static constexpr auto copy = V##_copy;                                                     \
        static constexpr auto mid = V##_mid;                                                       \
        static constexpr auto concat = V##_concat;                                                 \
    };
TONELINK_VECTOR_FAMILIES(DEFINE_FAMILY)
#undef DEFINE_FAMILY

// Matrices have a length, too, for what they have in common with vectors: that of one column.
#define DEFINE_FAMILY(M, V, T)                                                                     \
    struct M##_family {                                                                            \
        using container = M;                                                                       \
        using element = T;                                                                         \
        using vectors = V##_family;                                                                \
        static constexpr const char *name = #M;                                                    \
        static constexpr auto init = M##_init;                                                     \
        static constexpr auto set_size = M##_set_size;                                             \
        static int32_t set_length(M *m, int32_t n) { return M##_set_size(m, n, 1); }               \
        static constexpr auto free = M##_free;                                                     \
        static constexpr auto clear = M##_clear;                                                   \
        static constexpr auto length = M##_size;                                                   \
        static constexpr auto set_value = M##_set_value;                                           \
        static constexpr auto get_value = M##_get_value;                                           \
        static constexpr auto copy = M##_copy;                                                     \
        static constexpr auto set_row = M##_set_row;                                               \
        static constexpr auto get_row = M##_get_row;                                               \
        static constexpr auto set_col = M##_set_col;                                               \
        static constexpr auto get_col = M##_get_col;                                               \
    };
TONELINK_MATRIX_FAMILIES(DEFINE_FAMILY)
#undef DEFINE_FAMILY

/// The list of test types of a macro that gives ", Family" for each family.
template <class, class... Families> struct types_after_first {
    using types = ::testing::Types<Families...>;
};
#define VECTOR_FAMILY(V, T) , V##_family
#define MATRIX_FAMILY(M, V, T) , M##_family
using vector_families = types_after_first<void TONELINK_VECTOR_FAMILIES(VECTOR_FAMILY)>::types;
using matrix_families = types_after_first<void TONELINK_MATRIX_FAMILIES(MATRIX_FAMILY)>::types;
using all_families = types_after_first<void TONELINK_VECTOR_FAMILIES(VECTOR_FAMILY)
                                           TONELINK_MATRIX_FAMILIES(MATRIX_FAMILY)>::types;
#undef VECTOR_FAMILY
#undef MATRIX_FAMILY

struct family_names {
    template <class Family> static std::string GetName(int) { return Family::name; }
};

using numbers = std::vector<int>;

/// The element that stands for `number`, 0 to 127. A complex one has another imaginary part.
template <class T> T element_for(int number)
{
    if constexpr (std::is_class_v<T>)
        return {static_cast<decltype(T::re)>(number), static_cast<decltype(T::im)>(-2 * number)};
    else
        return static_cast<T>(number);
}

/// The number that an element stands for; -1 for an element of another making.
template <class T> int number_of(T element)
{
    if constexpr (std::is_class_v<T>) {
        const auto number = static_cast<int>(element.re);
        return static_cast<int>(element.im) == -2 * number ? number : -1;
    } else {
        return static_cast<int>(element);
    }
}

/// A container of numbers that is freed at the end of its scope.
template <class Family> struct filled : Family::container {
    filled(std::initializer_list<int> values) : filled(numbers(values)) {}
    explicit filled(const numbers &values) : Family::container{} { fill(values); }
    filled(const filled &) = delete;
    filled &operator=(const filled &) = delete;
    ~filled() { Family::free(this); }

    void fill(const numbers &values)
    {
        Family::set_length(this, static_cast<int32_t>(values.size()));
        std::ranges::transform(values, this->data, element_for<typename Family::element>);
    }
    /// What it holds, in the order in which it lies in memory.
    numbers stored() const
    {
        numbers values;
        for (int32_t i = 0; i < Family::length(this); ++i)
            values.push_back(number_of(this->data[i]));
        return values;
    }
};

template <class Container> bool is_empty(const Container &c)
{
    if constexpr (requires { c.rows; })
        return !c.data && c.size == 0 && c.rows == 0 && c.cols == 0;
    else
        return !c.data && c.length == 0;
}

} // namespace tonelink::test
