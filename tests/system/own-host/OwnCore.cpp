// A host core library of another maker, as small as the module lets it be.

#include "Contract.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace KVR
{

CKVRInterface::CKVRInterface(const std::string& interfaceName) : name(interfaceName) {}
CKVRInterface::~CKVRInterface() = default;

EKVRError::EKVRError(const std::string& message, const std::string& detailText)
    : msg_(message), details_(detailText)
{
    EKVRError::makewhat();
}

EKVRError::EKVRError(const std::string& message, const std::string& detailText, const std::string&,
                     const std::string&, unsigned long line)
    : msg_(message), details_(detailText), line_(line)
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
    what_ = "<" + msg_ + "|" + details_ + ">";
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
    return 7;
}

EKVRCheckError::EKVRCheckError(const std::string& message, const std::string& detailText)
    : EKVRError(message, detailText)
{
}
EKVRCheckError::~EKVRCheckError() = default;

EKVRInternalError::EKVRInternalError(const std::string& message, const std::string& detailText,
                                     const std::string& file, const std::string& function, unsigned long line)
    : EKVRError(message, detailText, file, function, line)
{
}
EKVRInternalError::~EKVRInternalError() = default;

EKVROutOfMemory::EKVROutOfMemory(const std::string& message, const std::string& detailText,
                                 const std::string& file, const std::string& function, unsigned long line)
    : EKVRError(message, detailText, file, function, line)
{
}
EKVROutOfMemory::~EKVROutOfMemory() = default;

CKVRLogProvider& CKVRLogProvider::GetLogProvider()
{
    static CKVRLogProvider provider;
    return provider;
}

void CKVRLogProvider::Put(KVRLogLevel level, unsigned long count, const char* text, ...)
{
    messages.push_back(std::to_string(level) + "/" + std::to_string(count) + " " + text);
}

CKVRFormatCall::CKVRFormatCall(const char* file, const char* function, unsigned long line)
    : place_(std::string(file) + function + std::to_string(line))
{
}

CKVRFormatCall::~CKVRFormatCall()
{
    std::free(text_);
}

/** Marks its texts. */
const char* CKVRFormatCall::operator()(unsigned long count, const char* format, ...)
{
    char* formatted = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&formatted, format, arguments);
    va_end(arguments);
    std::free(text_);
    if (length < 0 || asprintf(&text_, "%lu: %s", count, formatted) < 0)
    {
        throw std::runtime_error("no memory");
    }
    std::free(formatted);
    return text_;
}

std::string Trim(const std::string& text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

void StrTolist(const std::string text, std::list<std::string>& pieces, char separator)
{
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, separator);)
    {
        pieces.push_back(piece);
    }
}

std::string DomainToDn(const std::string domain)
{
    return "dc=" + domain;
}

int ExecCommand(const std::string, bool)
{
    return 1;
}

bool IsFileExist(const std::string path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0;
}

bool IsPathExist(const std::string path)
{
    return IsFileExist(path);
}

bool IsMemberOfList(const std::list<std::string> members, const std::string text)
{
    return std::find(members.begin(), members.end(), text) != members.end();
}

const char* ExtractFileName(const char* path)
{
    const std::string text(path);
    return path + text.rfind('/') + 1;
}

bool Chmod(const std::string, unsigned int, bool)
{
    return true;
}

bool Chown(const std::string, const std::string, const std::string, bool)
{
    return true;
}

std::string DefaultCodeset()
{
    return "UTF-8";
}

} // namespace KVR
