#pragma once

#include <kvr/KVRExport.h>

#include <forward_list>
#include <string>

namespace KVR
{

/**
 * printf-style formatter bound to a call site.
 *
 * The format usually comes from a message catalogue, so it may hold other conversions than the
 * programmer wrote. A conversion that is refused stands in the result as it is written, and the log
 * gets a notice with the call site: a conversion beyond `count`, one that reads an argument as another
 * type than a conversion before it, one that is unknown, wide characters, and "%n", which never writes.
 *
 * Every text stays valid until the formatter is destroyed. One thread at a time.
 *
 * The size of an object is part of the calling contract: modules create formatters, hosts implement
 * them.
 */
class KVR_API CKVRFormatCall
{
public:
    /** @param file,function,line the call site, all kept by reference: pass literals */
    CKVRFormatCall(const char* file, const char* function, unsigned long line);
    ~CKVRFormatCall();

    CKVRFormatCall(const CKVRFormatCall&) = delete;
    CKVRFormatCall& operator=(const CKVRFormatCall&) = delete;

    /**
     * Formats as printf(3) does, "%2$s" and "%*d" included.
     * @param count number of arguments that follow the format; must not be larger than that
     * @param format printf(3) format with the conversions d i u o x X c s p e E f F g G a A; width and
     *        precision in digits go up to 65535, a null text gives "(null)", a zero character nothing; an
     *        argument that no conversion names is taken for an integer or a text; null gives an empty
     *        text
     * @return the text, owned by the formatter
     */
    const char* operator()(unsigned long count, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

private:
    void ReportMisfit(const char* format) const;

    const char* file_;
    const char* function_;
    unsigned long line_;
    std::forward_list<std::string> texts_;
    /** Room for the state of other implementations. */
    [[maybe_unused]] void* reserved_[4] = {};
};

} // namespace KVR
