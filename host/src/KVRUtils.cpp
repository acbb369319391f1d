#include "ZeroByte.h"

#include <kvr/KVRUtils.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

namespace KVR
{

namespace
{

/** Value of a "dc" component as RFC 4514 writes it. */
std::string escapeValue(const std::string& value)
{
    std::string escaped;
    for (std::size_t index = 0; index < value.size(); ++index)
    {
        const char character = value[index];
        const bool outerSpace = character == ' ' && (index == 0 || index + 1 == value.size());
        if (character == '\0')
        {
            escaped += "\\00";
            continue;
        }
        if (outerSpace || (character == '#' && index == 0) || std::strchr("\"+,;<>\\", character) != nullptr)
        {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

struct CodesetSetting
{
    std::mutex mutex;
    std::string name = "UTF-8";
};

CodesetSetting& codesetSetting()
{
    // Never destroyed: threads that outlive main may still connect.
    static CodesetSetting& setting = *std::make_unique<CodesetSetting>().release();
    return setting;
}

} // namespace

std::string Trim(const std::string& text)
{
    constexpr const char* whiteSpace = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(whiteSpace);
    if (first == std::string::npos)
    {
        return {};
    }
    return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

void StrTolist(const std::string text, std::list<std::string>& pieces, char separator)
{
    std::size_t start = 0;
    for (std::size_t end = text.find(separator); end != std::string::npos; end = text.find(separator, start))
    {
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    pieces.push_back(text.substr(start));
}

std::string DomainToDn(const std::string domain)
{
    std::list<std::string> labels;
    StrTolist(domain, labels, '.');
    std::string dn;
    for (const std::string& label : labels)
    {
        if (!label.empty())
        {
            dn += (dn.empty() ? "dc=" : ",dc=") + escapeValue(label);
        }
    }
    return dn;
}

bool IsFileExist(const std::string path)
{
    struct stat status = {};
    return !hasZeroByte(path) && stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool IsPathExist(const std::string path)
{
    struct stat status = {};
    return !hasZeroByte(path) && stat(path.c_str(), &status) == 0;
}

bool IsMemberOfList(const std::list<std::string> members, const std::string text)
{
    return std::find(members.begin(), members.end(), text) != members.end();
}

const char* ExtractFileName(const char* path)
{
    if (path == nullptr)
    {
        return "";
    }
    const char* const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

std::string DefaultCodeset()
{
    CodesetSetting& setting = codesetSetting();
    const std::lock_guard<std::mutex> lock(setting.mutex);
    return setting.name;
}

void SetDefaultCodeset(const std::string& codeset)
{
    checkName(codeset, __func__);
    CodesetSetting& setting = codesetSetting();
    const std::lock_guard<std::mutex> lock(setting.mutex);
    setting.name = codeset;
}

} // namespace KVR
