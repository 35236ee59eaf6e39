// A name in a folder for a file that is not complete yet. It goes with its owner, and with the
// program too when a signal ends it that can be caught.
#pragma once

#include <functional>
#include <string>

namespace tonelink::tool {

/// One at a time in a program.
class temporary_name {
public:
    /// Takes the first free name in `folder`, a descriptor that must stay open. `make` makes the
    /// file of a name in there that must not exist, and returns false, with the reason in errno,
    /// when it cannot.
    temporary_name(int folder, const std::function<bool(const char *)> &make);
    /// Removes it unless it was moved.
    ~temporary_name();
    temporary_name(const temporary_name &) = delete;
    temporary_name &operator=(const temporary_name &) = delete;

    /// Whether the file could be made; if not, errno says why after the constructor.
    bool is_made() const { return is_made_; }

    /// Gives the file a name of its own in the folder, in place of whatever has it now; false, with
    /// the reason in errno, when that cannot be done.
    bool move_over(const std::string &place) { return move_to(place, 0); }
    /// The same where nothing may have that name yet: false with EEXIST when something has.
    bool move_beside(const std::string &place);

private:
    bool move_to(const std::string &place, unsigned int flags);

    int folder_;
    std::string name_;
    bool is_made_ = false;
};

} // namespace tonelink::tool
