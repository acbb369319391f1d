#pragma once

#include <unistd.h>

namespace KVR
{

/** Owns a file descriptor. */
class Descriptor
{
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { Reset(-1); }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return number_ >= 0; }
    int Number() const { return number_; }

    /** Leaves the descriptor to the caller. */
    int Release()
    {
        const int released = number_;
        number_ = -1;
        return released;
    }

    /** Closes the descriptor and takes over another one. */
    void Reset(int number)
    {
        if (number_ >= 0)
        {
            close(number_);
        }
        number_ = number;
    }

private:
    int number_;
};

} // namespace KVR
