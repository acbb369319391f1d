#include "KVRLdapConnection.h"
#include "KVRTranslate.h"

#include <kvr/CKVRFormatCall.h>
#include <kvr/EKVRError.h>

#include <algorithm>
#include <vector>

namespace KVR
{

namespace
{

constexpr char wireCodeset[] = "UTF-8";

/** Gives a long buffer back when it is not needed any more; short ones are used again. */
class KeptBuffer
{
public:
    explicit KeptBuffer(std::vector<char>& buffer) : buffer_(buffer) {}
    ~KeptBuffer() { giveBack(buffer_); }

    KeptBuffer(const KeptBuffer&) = delete;
    KeptBuffer& operator=(const KeptBuffer&) = delete;

private:
    std::vector<char>& buffer_;
};

/** Opens a conversion that is not open; a failure is reported in the words of the last two arguments. */
void openConversion(iconv_t& handle, const char* to, const char* from, const char* function,
                    const char* toldFrom, const char* toldTo)
{
    handle = iconv_open(to, from);
    if (handle == closedConversion())
    {
        CKVRFormatCall format(__FILE__, function, __LINE__);
        throw EKVRError(format(2, moduleText("Iconv initialization failed for conversion from '%s' to '%s'."),
                               toldFrom, toldTo),
                        "");
    }
}

} // namespace

// Both operations report a failed initialization with source and target exchanged: hosts and their
// documentation know the message so.

std::string CKVRLdapConnection::LocalToUtf8(const std::string& text)
{
    if (!convert)
    {
        return text;
    }
    if (text.empty())
    {
        return "";
    }
    if (internal->toUtf8 == closedConversion())
    {
        openConversion(internal->toUtf8, wireCodeset, codeset.c_str(), "LocalToUtf8", wireCodeset,
                       codeset.c_str());
    }
    return InternalIconv(true, text);
}

std::string CKVRLdapConnection::Utf8ToLocal(const std::string& text)
{
    if (!convert)
    {
        return text;
    }
    if (text.empty())
    {
        return "";
    }
    openToLocal();
    return InternalIconv(false, text);
}

void CKVRLdapConnection::openToLocal()
{
    if (internal->toLocal == closedConversion())
    {
        openConversion(internal->toLocal, codeset.c_str(), wireCodeset, "Utf8ToLocal", codeset.c_str(),
                       wireCodeset);
    }
}

std::string CKVRLdapConnection::toWire(const std::string& value)
{
    return convert ? LocalToUtf8(value) : value;
}

void CKVRLdapConnection::toLocal(CKVRReceivedEntry& entry)
{
    if (!convert)
    {
        return;
    }
    const KeptBuffer kept(converted);
    entry.Convert(
        [this](std::string_view text)
        {
            if (!text.empty())
            {
                openToLocal();
                text = convertText(internal->toLocal, text);
            }
            return text;
        });
}

std::string CKVRLdapConnection::InternalIconv(bool toUtf8, const std::string& text) const
{
    auto* const handle = toUtf8 ? internal->toUtf8 : internal->toLocal;
    if (handle == closedConversion())
    {
        throw EKVRCheckError(moduleText("Invalid iconv handle."), "");
    }
    const KeptBuffer kept(converted);
    return std::string(convertText(handle, text));
}

std::string_view CKVRLdapConnection::convertText(iconv_t handle, std::string_view text) const
{
    // Four bytes per byte and never more, and room for the terminating zero.
    converted.resize(std::max(converted.size(), 4 * text.size() + 4));
    // iconv(3) takes the input as char** but does not write to it.
    char* in = const_cast<char*>(text.data());
    char* out = converted.data();
    std::size_t inLeft = text.size();
    std::size_t outLeft = 4 * text.size();
    while (inLeft != 0)
    {
        // The shift state is carried from one text to the next: it is never reset.
        if (iconv(handle, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1))
        {
            throw EKVRInternalError(moduleText("iconv conversion failed."), "", __FILE__, "InternalIconv",
                                    __LINE__);
        }
    }
    *out = '\0';
    return converted.data();
}

} // namespace KVR
