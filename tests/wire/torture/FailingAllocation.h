#pragma once

namespace KVR::Support
{

/**
 * Lets one allocation of the current thread fail: the N-th by operator new, or the N-th by a call of
 * malloc(3) in the module's own code. In effect as long as the object lives.
 */
class FailingAllocation
{
public:
    enum class By
    {
        OperatorNew,
        Malloc
    };

    FailingAllocation(By by, long number);
    ~FailingAllocation();

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /** True once the allocation was reached and has failed. */
    bool failed() const;

private:
    long& countdown_;
};

} // namespace KVR::Support
