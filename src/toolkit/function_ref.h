// Something to call that lives as long as the call it is passed to: what std::function would be,
// without its allocation.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace tonelink {

template <class Signature> class function_ref;

template <class Result, class... Arguments> class function_ref<Result(Arguments...)> {
public:
    template <class Callable>
    requires std::is_invocable_r_v<Result, const Callable &, Arguments...>
    function_ref(const Callable &callable)
        : object_{std::addressof(callable)}, call_{[](const void *object,
                                                      Arguments... arguments) -> Result {
              return (*static_cast<const Callable *>(object))(
                  std::forward<Arguments>(arguments)...);
          }}
    {
    }

    Result operator()(Arguments... arguments) const
    {
        return call_(object_, std::forward<Arguments>(arguments)...);
    }

private:
    const void *object_;
    Result (*call_)(const void *, Arguments...);
};

} // namespace tonelink
