#pragma once

#include <kvr/KVRExport.h>

#include <exception>
#include <string>

namespace KVR
{

/**
 * Base of every error that the host and its modules throw, always by value.
 *
 * Order of the virtual table, which modules rely on: destructor, what, makewhat, msg, details,
 * errcode. `std::exception` contributes the first two in this order.
 *
 * The text of what() is the message, followed by ": " and the details when there are any. The
 * place where the error was thrown is kept beside it, see where().
 */
class KVR_API EKVRError : public std::exception
{
public:
    /**
     * @param message text for the user, already translated; may contain any character, '%' too
     * @param detailText further text, for example a server's diagnostic; may be empty
     */
    EKVRError(const std::string& message, const std::string& detailText);

    /**
     * @param sourceFile file, @param function and @param sourceLine line of the throwing operation
     */
    EKVRError(const std::string& message, const std::string& detailText, const std::string& sourceFile,
              const std::string& function, unsigned long sourceLine);

    EKVRError(const EKVRError&) = default;
    EKVRError& operator=(const EKVRError&) = default;
    ~EKVRError() override;

    /** The composed text; valid until the error is destroyed, assigned to or recomposed. */
    const char* what() const noexcept override;

    /** Recomposes the text of what() from the fields; call it after changing one of them. */
    virtual void makewhat();

    virtual const std::string& msg() const;     /**< the message alone */
    virtual const std::string& details() const; /**< the details alone, often empty */

    /** Kind of the error: 1 general, 2 failed check, 3 internal, 4 out of memory. */
    virtual int errcode() const;

    /** "file:line(function)" of the throwing operation, or "" where it was not given. */
    std::string where() const;

protected:
    std::string msg_;
    std::string details_;

private:
    std::string file_;
    std::string function_;
    unsigned long line_ = 0;
    std::string what_;
};

/** A failed check of an argument or of a state; nothing was done. */
class KVR_API EKVRCheckError : public EKVRError
{
public:
    EKVRCheckError(const std::string& message, const std::string& detailText);
    EKVRCheckError(const EKVRCheckError&) = default;
    EKVRCheckError& operator=(const EKVRCheckError&) = default;
    ~EKVRCheckError() override;
    int errcode() const override;
};

/** A condition that should not occur. */
class KVR_API EKVRInternalError : public EKVRError
{
public:
    EKVRInternalError(const std::string& message, const std::string& detailText,
                      const std::string& sourceFile, const std::string& function, unsigned long sourceLine);
    EKVRInternalError(const EKVRInternalError&) = default;
    EKVRInternalError& operator=(const EKVRInternalError&) = default;
    ~EKVRInternalError() override;
    int errcode() const override;
};

/** A buffer could not be allocated. */
class KVR_API EKVROutOfMemory : public EKVRError
{
public:
    EKVROutOfMemory(const std::string& message, const std::string& detailText, const std::string& sourceFile,
                    const std::string& function, unsigned long sourceLine);
    EKVROutOfMemory(const EKVROutOfMemory&) = default;
    EKVROutOfMemory& operator=(const EKVROutOfMemory&) = default;
    ~EKVROutOfMemory() override;
    int errcode() const override;
};

} // namespace KVR
