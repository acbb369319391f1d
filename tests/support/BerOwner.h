#pragma once

#include <lber.h>

#include <memory>

namespace KVR::Support
{

struct BerRelease
{
    void operator()(BerElement* ber) const { ber_free(ber, 1); }
};

/** Owner of an encoder or decoder together with its bytes. */
using BerOwner = std::unique_ptr<BerElement, BerRelease>;

} // namespace KVR::Support
