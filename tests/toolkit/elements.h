// Elements of every family's type as small numbers, so that one test reads the same for all.
#pragma once

#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace tonelink::test {

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

using numbers = std::vector<int>;

/// What a vector or matrix holds, in the order in which it lies in memory.
template <class Container> numbers stored(const Container &container)
{
    int32_t count;
    if constexpr (requires { container.size; })
        count = container.size;
    else
        count = container.length;
    numbers values;
    for (int32_t i = 0; i < count; ++i) values.push_back(number_of(container.data[i]));
    return values;
}

/// The list of test types of a macro that gives ", Family" for each family.
template <class, class... Families> struct types_after_first {
    using types = ::testing::Types<Families...>;
};

} // namespace tonelink::test
