#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>

#define KVR_API __attribute__((visibility("default")))

/**
 * What modules demand of a host core library, declared by the maker of another one: names, arguments and
 * positions are the contract's, everything behind them is this maker's own.
 */
namespace KVR
{

class KVR_API CKVRInterface
{
public:
    explicit CKVRInterface(const std::string& interfaceName);
    virtual ~CKVRInterface();

    std::string name;
};

class KVR_API EKVRError
{
public:
    EKVRError(const std::string& message, const std::string& detailText);
    EKVRError(const std::string& message, const std::string& detailText, const std::string& file,
              const std::string& function, unsigned long line);
    EKVRError(const EKVRError&) = default;
    EKVRError& operator=(const EKVRError&) = default;
    virtual ~EKVRError();

    virtual const char* what() const noexcept;
    virtual void makewhat();
    virtual const std::string& msg() const;
    virtual const std::string& details() const;
    virtual int errcode() const;

protected:
    std::string msg_;
    std::string details_;
    std::string what_;
    unsigned long line_ = 0;
};

class KVR_API EKVRCheckError : public EKVRError
{
public:
    EKVRCheckError(const std::string& message, const std::string& detailText);
    ~EKVRCheckError() override;
};

class KVR_API EKVRInternalError : public EKVRError
{
public:
    EKVRInternalError(const std::string& message, const std::string& detailText, const std::string& file,
                      const std::string& function, unsigned long line);
    ~EKVRInternalError() override;
};

class KVR_API EKVROutOfMemory : public EKVRError
{
public:
    EKVROutOfMemory(const std::string& message, const std::string& detailText, const std::string& file,
                    const std::string& function, unsigned long line);
    ~EKVROutOfMemory() override;
};

enum KVRLogLevel : int
{
    failure = 0,
    trace = 4
};

class KVR_API CKVRLogProvider
{
public:
    static CKVRLogProvider& GetLogProvider();
    void Put(KVRLogLevel level, unsigned long count, const char* text, ...);

    std::int32_t currentLevel = trace;
    std::list<std::string> messages;
};

class KVR_API CKVRFormatCall
{
public:
    CKVRFormatCall(const char* file, const char* function, unsigned long line);
    ~CKVRFormatCall();
    const char* operator()(unsigned long count, const char* format, ...);

private:
    std::string place_;
    char* text_ = nullptr;
};

// One line for some positions of the table that no module calls.
#define UNUSED_1(n)                                                                                          \
    virtual void Unused##n()                                                                                 \
    {                                                                                                        \
        throw std::logic_error("the module calls what it must not");                                         \
    }                                                                                                        \
    static_assert(true)
#define UNUSED_5(n)                                                                                          \
    UNUSED_1(n##a);                                                                                          \
    UNUSED_1(n##b);                                                                                          \
    UNUSED_1(n##c);                                                                                          \
    UNUSED_1(n##d);                                                                                          \
    UNUSED_1(n##e)

class KVR_API IKVRCore
{
public:
    UNUSED_1(0);
    virtual const std::string& GetDomainName() = 0; // 1
    virtual const std::string& GetServerHost() = 0; // 2
    virtual const std::string& GetHostName() = 0;   // 3
    UNUSED_5(4);
    UNUSED_5(9);
    UNUSED_5(14);
    UNUSED_5(19);
    UNUSED_5(24);
    UNUSED_5(29);
    UNUSED_1(34);
    UNUSED_1(35);
    UNUSED_1(36);
    virtual void RegisterInterface(std::shared_ptr<CKVRInterface> object) = 0; // 37
    UNUSED_1(38);
    virtual void UnregisterInterface(const std::string& name) = 0; // 39
    UNUSED_5(40);
    UNUSED_5(45);
    virtual std::string GetBindDefaults() = 0; // 50
    UNUSED_5(51);
    UNUSED_5(56);
    UNUSED_5(61);
    UNUSED_1(66);
    UNUSED_1(67);
    UNUSED_1(68);
    virtual std::string GetParameter(const std::string& name) = 0;                              // 69
    virtual bool HasParameter(const std::string& name) = 0;                                     // 70
    virtual void DefineParameter(const std::string& name, const std::string& defaultValue) = 0; // 71
    UNUSED_5(72);
    UNUSED_1(77);
    virtual bool MatchRegex(const std::string& pattern, const std::string& text, void* groups, int flags) = 0;

protected:
    ~IKVRCore() = default;
};

struct ModuleRecord
{
    std::int64_t version;
    const char* interfaceName;
    const char* versionText;
    std::int32_t kind;
    const char* displayName;
};

KVR_API std::string Trim(const std::string& text);
KVR_API void StrTolist(const std::string text, std::list<std::string>& pieces, char separator);
KVR_API std::string DomainToDn(const std::string domain);
KVR_API int ExecCommand(const std::string command, bool quiet);
KVR_API bool IsFileExist(const std::string path);
KVR_API bool IsPathExist(const std::string path);
KVR_API bool IsMemberOfList(const std::list<std::string> members, const std::string text);
KVR_API const char* ExtractFileName(const char* path);
KVR_API bool Chmod(const std::string path, unsigned int mode, bool recursive);
KVR_API bool Chown(const std::string path, const std::string user, const std::string group, bool recursive);
KVR_API std::string DefaultCodeset();

} // namespace KVR
