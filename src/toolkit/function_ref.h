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
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, function_ref> &&
             std::is_invocable_r_v<Result, Callable &, Arguments...>)
        function_ref(Callable &&callable)
        : object_{const_cast<void *>(static_cast<const void *>(std::addressof(callable)))},
          call_{[](void *object, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Callable> *>(object))(
                  std::forward<Arguments>(arguments)...);
          }}
    {
    }

    Result operator()(Arguments... arguments) const
    {
        return call_(object_, std::forward<Arguments>(arguments)...);
    }

private:
    void *object_;
    Result (*call_)(void *, Arguments...);
};

} // namespace tonelink
