#include <kvr/EKVRError.h>

namespace KVR
{

EKVRError::EKVRError(const std::string& message, const std::string& detailText)
    : msg_(message), details_(detailText)
{
    EKVRError::makewhat();
}

EKVRError::EKVRError(const std::string& message, const std::string& detailText, const std::string& sourceFile,
                     const std::string& function, unsigned long sourceLine)
    : msg_(message), details_(detailText), file_(sourceFile), function_(function), line_(sourceLine)
{
    EKVRError::makewhat();
}

EKVRError::~EKVRError() = default;

const char* EKVRError::what() const noexcept
{
    return what_.c_str();
}

void EKVRError::makewhat()
{
    what_ = details_.empty() ? msg_ : msg_ + ": " + details_;
}

const std::string& EKVRError::msg() const
{
    return msg_;
}

const std::string& EKVRError::details() const
{
    return details_;
}

int EKVRError::errcode() const
{
    return 1;
}

std::string EKVRError::where() const
{
    if (file_.empty() && function_.empty())
    {
        return {};
    }
    return file_ + ':' + std::to_string(line_) + '(' + function_ + ')';
}

EKVRCheckError::EKVRCheckError(const std::string& message, const std::string& detailText)
    : EKVRError(message, detailText)
{
}

EKVRCheckError::~EKVRCheckError() = default;

int EKVRCheckError::errcode() const
{
    return 2;
}

EKVRInternalError::EKVRInternalError(const std::string& message, const std::string& detailText,
                                     const std::string& sourceFile, const std::string& function,
                                     unsigned long sourceLine)
    : EKVRError(message, detailText, sourceFile, function, sourceLine)
{
}

EKVRInternalError::~EKVRInternalError() = default;

int EKVRInternalError::errcode() const
{
    return 3;
}

EKVROutOfMemory::EKVROutOfMemory(const std::string& message, const std::string& detailText,
                                 const std::string& sourceFile, const std::string& function,
                                 unsigned long sourceLine)
    : EKVRError(message, detailText, sourceFile, function, sourceLine)
{
}

EKVROutOfMemory::~EKVROutOfMemory() = default;

int EKVROutOfMemory::errcode() const
{
    return 4;
}

} // namespace KVR
