#pragma once

namespace KVR
{

/**
 * Holds a function-local static that is never destroyed, so that destructors of other statics,
 * and threads that outlive main, may still use it.
 */
template <typename T>
union Immortal
{
    Immortal() : value() {}
    ~Immortal() {} // leaves the value alone

    Immortal(const Immortal&) = delete;
    Immortal& operator=(const Immortal&) = delete;

    T value;
};

} // namespace KVR
