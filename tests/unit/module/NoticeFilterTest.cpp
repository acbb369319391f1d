// Which received messages are kept from libldap.

#include "EntryBytes.h"
#include "KVRLdapNoticeFilter.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace KVR
{

namespace
{

using namespace std::string_literals;
using Support::element;
using Support::LengthForm;

const std::string octets = element(0x04, "");
const std::string success = element(0x0a, "\0"s) + octets + octets;
const std::string noticeName = element(0x8a, "1.3.6.1.4.1.1466.20036");
const std::string referral = element(0xa3, element(0x04, "ldap://host/"));
const std::string zero = element(0x02, "\0"s);

std::string message(const std::string& id, const std::string& operation, LengthForm form = LengthForm::Short)
{
    return element(0x30, id + operation, form);
}

std::string notice(const std::string& content)
{
    return message(zero, element(LDAP_RES_EXTENDED, content));
}

const std::string entry =
    message(element(0x02, "\x05"), element(LDAP_RES_SEARCH_ENTRY, std::string(300, 'a')));

/** Whether all bytes pass, given in pieces of this size. */
bool passes(const std::string& bytes, std::size_t piece)
{
    CKVRNoticeFilter filter;
    for (std::size_t at = 0; at < bytes.size(); at += piece)
    {
        if (!filter.Take(bytes.data() + at, std::min(piece, bytes.size() - at)))
        {
            EXPECT_FALSE(filter.Take(entry.data(), entry.size())) << "nothing follows a refused message";
            return false;
        }
    }
    return true;
}

void expectPassing(bool isPassing, const std::string& what, const std::string& bytes)
{
    for (const std::size_t piece : {std::size_t{1}, std::size_t{8}, std::size_t{4096}})
    {
        EXPECT_EQ(isPassing, passes(bytes, piece)) << what << " in pieces of " << piece;
        EXPECT_EQ(isPassing, passes(entry + bytes, piece)) << what << " after another message";
    }
}

TEST(NoticeFilter, LetsOrdinaryMessagesPass)
{
    const std::string result = element(LDAP_RES_SEARCH_RESULT, success + referral);
    const std::vector<std::pair<std::string, std::string>> messages{
        {"with a short length", message(element(0x02, "\x01"), result)},
        {"with a long length", message(element(0x02, "\x01"), result, LengthForm::FourBytes)},
        {"of 128 bytes", message(element(0x02, "\x01"), element(0x65, std::string(122, 'a')))},
        {"with an id of several bytes", message(element(0x02, "\x00\x00\x01"s), result)},
        {"with an id whose length is long", message("\x02\x85\x00\x00\x00\x00\x01\x05"s, result)},
        {"with a negative id", message(element(0x02, "\xff"), result)},
        {"whose id has an indefinite length", message("\x02\x80\x00"s, result)},
        {"whose id does not end", message("\x02\x7f\x00"s, result)},
        {"longer than what is kept", message(element(0x02, "\x01"), element(0x64, std::string(9000, 'a')))},
    };
    for (const auto& [what, bytes] : messages)
    {
        expectPassing(true, what, bytes + entry);
    }
}

TEST(NoticeFilter, LetsWhatIsNoMessagePass)
{
    expectPassing(true, "another tag", "HTTP/1.1 400 Bad Request\r\n\r\n" + notice(success + referral));
    expectPassing(true, "no length", "\x30\x00"s + notice(success + referral));
    expectPassing(true, "an indefinite length", "\x30\x80"s + notice(success + referral));
    expectPassing(true, "a length of five bytes",
                  "\x30\x85\x00\x00\x00\x00\x20"s + notice(success + referral));
}

TEST(NoticeFilter, LetsNoticesOfDisconnectionPass)
{
    const std::vector<std::pair<std::string, std::string>> notices{
        {"as servers send it", notice(success + noticeName)},
        {"with a text", notice(element(0x0a, "\x34") + octets + element(0x04, "bye") + noticeName)},
        {"with a value", notice(success + noticeName + element(0x8b, "a"))},
        {"without a name", notice(success)},
        {"with controls",
         message(zero, element(LDAP_RES_EXTENDED, success + noticeName) + element(0xa0, "a"))},
        {"with another tag", message(zero, element(LDAP_RES_SEARCH_RESULT, success + referral))},
    };
    for (const auto& [what, bytes] : notices)
    {
        expectPassing(true, what, bytes + entry);
    }
}

TEST(NoticeFilter, RefusesWhatLibldapDoesNotSurvive)
{
    const std::string aReferral = element(LDAP_RES_EXTENDED, success + referral + noticeName);
    const std::string oldReferral = element(0x04, "see Referral:\nldap://host/");
    const std::vector<std::pair<std::string, std::string>> notices{
        {"a referral", message(zero, aReferral)},
        {"a referral of an id without bytes", message(element(0x02, ""), aReferral)},
        {"a referral of an id of several bytes", message(element(0x02, "\0\0\0\0"s), aReferral)},
        {"a referral of an id whose length is long", message("\x02\x81\x01\x00"s, aReferral)},
        {"a referral of an id with a long tag", message("\x1f\x02\x01\x00"s, aReferral)},
        {"a referral of an id with the longest tag",
         message("\xff\xff\xff\xff\xff\xff\xff\x01\x01\x00"s, aReferral)},
        {"a referral of LDAPv2", notice(element(0x0a, "\x34") + octets + oldReferral + noticeName)},
        {"a referral behind the name", notice(success + noticeName + referral)},
        {"a referral behind its end", message(zero, element(LDAP_RES_EXTENDED, success) + referral)},
        {"an empty name behind its end",
         message(zero, element(LDAP_RES_EXTENDED, success) + element(0x8a, ""))},
        {"a referral behind controls",
         message(zero, element(LDAP_RES_EXTENDED, success) + element(0xa0, "a") + referral)},
        {"an empty name", notice(success + element(0x8a, ""))},
        {"no result", notice(noticeName)},
        {"a result that ends early", notice(element(0x0a, "\0"s) + octets)},
        {"an element beyond the end", notice(element(0x0a, "\0"s) + octets + "\x04\x7f"s)},
        {"nothing behind the id", message(zero, "")},
        {"more than is kept", notice(element(0x0a, "\0"s) + octets + element(0x04, std::string(5000, 'a')))},
    };
    for (const auto& [what, bytes] : notices)
    {
        expectPassing(false, what, bytes);
    }
}

TEST(NoticeFilter, KeepsANoticeOf4096BytesAndNoMore)
{
    // Sixteen bytes are the id, the heads and the result.
    const auto noticeOf = [](std::size_t size)
    { return notice(element(0x0a, "\0"s) + octets + element(0x04, std::string(size - 16, 'a'))); };
    expectPassing(true, "the longest notice", noticeOf(4096) + entry);
    expectPassing(false, "a longer notice", noticeOf(4097));
}

TEST(NoticeFilter, RefusesResultsOfMoreThan256KiB)
{
    const std::string id = element(0x02, "\x05");
    const std::string large(300'000, 'a');
    for (const int tag : {0x65, 0x73, 0x67})
    {
        expectPassing(false, "a large result", message(id, element(static_cast<unsigned char>(tag), large)));
        expectPassing(true, "a result",
                      message(id, element(static_cast<unsigned char>(tag), large.substr(0, 200'000))));
        // Four bytes of the 262,144 are the result's length.
        expectPassing(true, "the longest result",
                      message(id, element(static_cast<unsigned char>(tag), large.substr(0, 262'140))));
        expectPassing(false, "a longer result",
                      message(id, element(static_cast<unsigned char>(tag), large.substr(0, 262'141))));
    }
    for (const int tag : {0x64, 0x79})
    {
        expectPassing(true, "a large entry",
                      message(id, element(static_cast<unsigned char>(tag), large)) + entry);
    }
}

} // namespace

} // namespace KVR
