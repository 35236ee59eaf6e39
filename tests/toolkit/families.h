// The vector and matrix families from the header's own lists, with elements as small numbers, so
// that one test reads the same for all.
#pragma once

#include "support/failing_memory.h"
#include "support/signals.h"
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
    OPERATION(F, clear)                                                                            \
    OPERATION(F, copy)                                                                             \
    OPERATION(F, set_value)                                                                        \
    OPERATION(F, get_value)                                                                        \
    static_assert(std::is_same_v<R, std::conditional_t<std::is_integral_v<T>, int32_t, T>>);

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
template <class, class... Families> struct types_after_first {
    using types = ::testing::Types<Families...>;
};
#define VECTOR_FAMILY(V, T, R) , V##_family
#define MATRIX_FAMILY(M, V, T, R) , M##_family
using vector_families = types_after_first<void TONELINK_VECTOR_FAMILIES(VECTOR_FAMILY)>::types;
using matrix_families = types_after_first<void TONELINK_MATRIX_FAMILIES(MATRIX_FAMILY)>::types;
#undef VECTOR_FAMILY
#undef MATRIX_FAMILY

struct family_names {
    template <class Family> static std::string GetName(int) { return Family::family; }
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

/// An empty container that is freed at the end of its scope.
template <class Family> struct owned : Family::container {
    owned() { Family::init(this); }
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    ~owned() { Family::free(this); }

    /// Overwrites all elements, which lie one after the other.
    void fill(const numbers &values)
    {
        std::ranges::transform(values, this->data, element_for<typename Family::element>);
    }
    /// The first `count` of them.
    numbers first(int32_t count) const
    {
        numbers values;
        for (int32_t i = 0; i < count; ++i) values.push_back(number_of(this->data[i]));
        return values;
    }
};

/// Numbers to choose calls and elements by, the same on every machine.
class chooser {
public:
    explicit chooser(uint32_t seed) : random_{seed} {}

    int from(int least, int most) { return least + (random_.next() + 32768) % (most - least + 1); }
    numbers row(int count)
    {
        numbers values(static_cast<std::size_t>(std::max(count, 0)));
        for (int &value : values) value = from(0, 127);
        return values;
    }
    /// Runs a call, in half of all cases without memory for its first array, and expects `result`
    /// of it, or 0 without memory. Returns whether it had all memory that it asked for.
    template <class Run> bool runs(int32_t result, const Run &run)
    {
        const auto index = static_cast<std::size_t>(from(0, 1));
        const failing_allocation failure{index};
        const int32_t actual = run();
        EXPECT_TRUE(index == 0 || !failure.happened()) << "one allocation is all it takes";
        EXPECT_EQ(actual, failure.happened() ? 0 : result);
        return !failure.happened();
    }

private:
    lcg random_;
};

} // namespace tonelink::test
