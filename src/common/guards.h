// Guards for what C functions hand out, and for locks.
#pragma once

#include <memory>
#include <pthread.h>

namespace tonelink {

/// Closes with a function whose result nobody waits for.
template <auto Close> struct closer {
    template <class T> void operator()(T *owned) const { Close(owned); }
};

/// Owns what `Close` gives back.
template <class T, auto Close> using unique_handle = std::unique_ptr<T, closer<Close>>;

/// Holds a mutex for the length of a scope.
class pthread_lock {
public:
    explicit pthread_lock(pthread_mutex_t &mutex) : mutex_{mutex} { pthread_mutex_lock(&mutex_); }
    pthread_lock(const pthread_lock &) = delete;
    pthread_lock &operator=(const pthread_lock &) = delete;
    ~pthread_lock() { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t &mutex_;
};

/// Holds a mutex for the length of a scope, unless another thread does.
class pthread_try_lock {
public:
    explicit pthread_try_lock(pthread_mutex_t &mutex)
        : mutex_{mutex}, is_held_{pthread_mutex_trylock(&mutex) == 0}
    {
    }
    pthread_try_lock(const pthread_try_lock &) = delete;
    pthread_try_lock &operator=(const pthread_try_lock &) = delete;
    ~pthread_try_lock()
    {
        if (is_held_) pthread_mutex_unlock(&mutex_);
    }

    bool is_held() const { return is_held_; }

private:
    pthread_mutex_t &mutex_;
    bool is_held_;
};

} // namespace tonelink
