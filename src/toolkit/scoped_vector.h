// A vector for the length of a scope, on whichever way the scope is left.
#pragma once

#include "toolkit/containers.h"

#include <cassert>
#include <utility>

namespace tonelink {

/// A record of the family `Vector`, empty at first, that releases its array when its scope ends.
template <class Vector> class scoped_vector : public Vector {
public:
    scoped_vector() { static_cast<Vector &>(*this) = {}; }
    scoped_vector(const scoped_vector &) = delete;
    scoped_vector &operator=(const scoped_vector &) = delete;
    ~scoped_vector() { free_vector<Vector>(*this); }

    /// Takes over the array of `v`, which is empty then; this record must be.
    void take(Vector &v)
    {
        assert(!this->data);
        std::swap<Vector>(*this, v);
    }
};

} // namespace tonelink
