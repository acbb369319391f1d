#include "KVRLdapNoticeFilter.h"

#include "KVRLdapElements.h"

#include <ldap.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace KVR
{

namespace
{

/** Above TLS and what SASL adds, where the bytes are LDAP. */
constexpr int filterLevel = LBER_SBIOD_LEVEL_APPLICATION + 10;

unsigned octet(char character)
{
    return static_cast<unsigned char>(character);
}

CKVRNoticeFilter* filterOf(Sockbuf_IO_Desc* layer)
{
    return static_cast<CKVRNoticeFilter*>(layer->sbiod_pvt);
}

int setUp(Sockbuf_IO_Desc* layer, void* /*argument*/) noexcept
try
{
    layer->sbiod_pvt = std::make_unique<CKVRNoticeFilter>().release();
    return 0;
}
catch (const std::bad_alloc&)
{
    return -1; // libldap is C
}

int tearDown(Sockbuf_IO_Desc* layer) noexcept
{
    const std::unique_ptr<CKVRNoticeFilter> released(filterOf(layer));
    layer->sbiod_pvt = nullptr;
    return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* argument) noexcept
{
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

ber_slen_t receive(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) noexcept
{
    const ber_slen_t received = LBER_SBIOD_READ_NEXT(layer, bytes, size);
    if (received <= 0 ||
        filterOf(layer)->Take(static_cast<const char*>(bytes), static_cast<std::size_t>(received)))
    {
        return received;
    }
    errno = ECONNRESET;
    return -1;
}

ber_slen_t transmit(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) noexcept
{
    return LBER_SBIOD_WRITE_NEXT(layer, bytes, size);
}

Sockbuf_IO filterLayer{setUp, tearDown, control, receive, transmit, nullptr};

/** Tag and length of an element, as far as they have come. */
struct ElementHead
{
    std::size_t size = 0; /**< 0 as long as it is incomplete */
    std::size_t length = 0;
    bool isReadable = true;
};

/** Reads a head as liblber does: up to eight octets each for tag and length, no indefinite length. */
ElementHead headOf(std::string_view bytes)
{
    constexpr unsigned severalOctets = 0x1f;
    constexpr unsigned moreFollows = 0x80;
    constexpr std::size_t mostOctets = 8;
    std::size_t at = 1;
    bool isTag = (octet(bytes[0]) & severalOctets) == severalOctets;
    for (; isTag && at < bytes.size() && at < mostOctets; ++at)
    {
        isTag = (octet(bytes[at]) & moreFollows) != 0;
    }
    if (isTag || at == bytes.size())
    {
        return {0, 0, !isTag || at < mostOctets};
    }
    const unsigned first = octet(bytes[at++]);
    const std::size_t octets = first < moreFollows ? 0 : first - moreFollows;
    if (first == moreFollows || octets > mostOctets)
    {
        return {0, 0, false};
    }
    std::size_t length = octets == 0 ? first : 0;
    for (const char each : bytes.substr(at, octets))
    {
        length = length << 8 | octet(each);
    }
    return {at + octets <= bytes.size() ? at + octets : 0, length, true};
}

/** Cuts off the first element when it has this tag. */
bool take(CKVRElements& elements, unsigned tag, std::string_view& content)
{
    CKVRElements taken;
    if (elements.Empty() || octet(*elements.Begin()) != tag || !elements.Take(taken))
    {
        return false;
    }
    content = std::string_view(taken.Begin(), static_cast<std::size_t>(elements.Begin() - taken.Begin()));
    return true;
}

/** True for a diagnostic message that libldap reads as one with referrals, as LDAPv2 had them. */
bool holdsReferral(std::string_view diagnostic)
{
    constexpr std::string_view mark = "referral:";
    const auto found = std::search(diagnostic.begin(), diagnostic.end(), mark.begin(), mark.end(),
                                   [](char each, char marked) { return (each | 0x20) == (marked | 0x20); });
    return found != diagnostic.end();
}

} // namespace

bool CKVRNoticeFilter::AddTo(Sockbuf* buffer)
{
    return ber_sockbuf_add_io(buffer, &filterLayer, filterLevel, nullptr) == 0;
}

void CKVRNoticeFilter::RemoveFrom(Sockbuf* buffer)
{
    ber_sockbuf_remove_io(buffer, &filterLayer, filterLevel);
}

bool CKVRNoticeFilter::Take(const char* bytes, std::size_t size)
{
    while (size > 0 && stage_ != Stage::Unreadable && stage_ != Stage::Refused)
    {
        const bool isWhole = stage_ == Stage::Rest || stage_ == Stage::Unsolicited;
        const std::size_t count = isWhole ? std::min(size, left_) : 1;
        const bool isKept = stage_ != Stage::Rest;
        if (isKept && count > bytes_.size() - kept_)
        {
            stage_ = Stage::Refused;
            break;
        }
        if (isKept)
        {
            std::memcpy(bytes_.data() + kept_, bytes, count);
            kept_ += count;
        }
        bytes += count;
        size -= count;
        advance(count);
    }
    return stage_ != Stage::Refused;
}

void CKVRNoticeFilter::advance(std::size_t count)
{
    if (stage_ == Stage::Head)
    {
        takeHead();
        return;
    }
    left_ -= count;
    if (stage_ == Stage::Id)
    {
        takeId();
    }
    else if (stage_ == Stage::Operation)
    {
        takeOperation();
    }
    if (left_ == 0 && stage_ != Stage::Refused)
    {
        const bool isRefused = stage_ == Stage::Unsolicited && !isAcceptable();
        stage_ = isRefused ? Stage::Refused : Stage::Head;
        kept_ = 0;
    }
}

void CKVRNoticeFilter::takeHead()
{
    constexpr std::size_t most = 6; // libldap takes four octets of length
    const ElementHead head = headOf({bytes_.data(), kept_});
    if (octet(bytes_[0]) != LDAP_TAG_MESSAGE || !head.isReadable || kept_ > most)
    {
        stage_ = Stage::Unreadable;
    }
    else if (head.size > 0)
    {
        stage_ = head.length > 0 ? Stage::Id : Stage::Unreadable;
        left_ = head.length;
        kept_ = 0;
    }
}

void CKVRNoticeFilter::takeId()
{
    const ElementHead head = headOf({bytes_.data(), kept_});
    if (head.isReadable && head.size == 0)
    {
        return;
    }
    const std::string_view id(bytes_.data() + head.size, kept_ - head.size);
    if (!head.isReadable)
    {
        stage_ = Stage::Rest;
    }
    else if (id.size() == head.length && id.find_first_not_of('\0') != std::string_view::npos)
    {
        stage_ = Stage::Operation;
    }
    else if (id.size() == head.length)
    {
        stage_ = Stage::Unsolicited;
    }
}

void CKVRNoticeFilter::takeOperation()
{
    constexpr std::size_t mostOfAResult = 256UL * 1024;
    const unsigned tag = octet(bytes_[kept_ - 1]);
    const bool isUnlimited = tag == LDAP_RES_SEARCH_ENTRY || tag == LDAP_RES_INTERMEDIATE;
    stage_ = isUnlimited || left_ <= mostOfAResult ? Stage::Rest : Stage::Refused;
}

bool CKVRNoticeFilter::isAcceptable() const
{
    constexpr unsigned enumerated = 0x0a;
    constexpr unsigned octetString = 0x04;
    constexpr unsigned controls = 0xa0;
    CKVRElements message(bytes_.data(), bytes_.data() + kept_);
    CKVRElements id;
    if (!message.Take(id) || message.Empty())
    {
        return false;
    }
    if (octet(*message.Begin()) != LDAP_RES_EXTENDED)
    {
        return true; // libldap takes no notice of it
    }
    CKVRElements notice;
    std::string_view text;
    std::string_view diagnostic;
    if (!message.Take(notice) || !take(notice, enumerated, text) || !take(notice, octetString, text) ||
        !take(notice, octetString, diagnostic) || holdsReferral(diagnostic))
    {
        return false;
    }
    if (take(notice, LDAP_TAG_EXOP_RES_OID, text) && text.empty())
    {
        return false;
    }
    take(notice, LDAP_TAG_EXOP_RES_VALUE, text);
    // liblber reads on behind the end of an element.
    take(message, controls, text);
    return notice.Empty() && message.Empty();
}

} // namespace KVR
