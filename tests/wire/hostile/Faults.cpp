#include "Faults.h"

#include "EntryBytes.h"

#include <ldap.h>

#include <chrono>

namespace KVR
{

namespace
{

using Support::Answer;
using Support::element;
using Support::LdapRequest;
using Support::Operation;
using Support::resultMessage;
using namespace std::string_literals;

std::function<Answer(const LdapRequest&)> always(const Answer& answer)
{
    return [answer](const LdapRequest&) { return answer; };
}

/** A result of success with another number than the request's. */
Answer wrongId(const LdapRequest& request)
{
    const unsigned long tag =
        request.operation == Operation::Search ? LDAP_RES_SEARCH_RESULT : LDAP_RES_MODIFY;
    return Answer().raw(resultMessage(request.messageId + 100, tag, LDAP_SUCCESS));
}

/** A result of success of an operation that was not asked for. */
Answer wrongOperation(const LdapRequest& request)
{
    return Answer().raw(resultMessage(request.messageId, LDAP_RES_COMPARE, LDAP_SUCCESS));
}

/** A result without code and texts. */
Answer emptyResult(const LdapRequest& request)
{
    const unsigned char tag =
        request.operation == Operation::Search ? LDAP_RES_SEARCH_RESULT : LDAP_RES_MODIFY;
    const std::string id = element(0x02, std::string(1, static_cast<char>(request.messageId)));
    return Answer().raw(element(0x30, id + element(tag, "")));
}

/** The beginning of an answer that claims to have 2 GiB. */
Answer hugeLength(const LdapRequest& request)
{
    return Answer().raw("\x30\x84\x7f\xff\xff\xf0\x02\x01"s + static_cast<char>(request.messageId) + "\x65"s +
                        std::string(100, 'a'));
}

/** An unsolicited message that is no notice of disconnection. */
Answer unsolicited()
{
    return Answer().raw(
        element(0x30, element(0x02, "\0"s) + element(0x78, element(0x0a, "\0"s) + element(0x04, "") +
                                                               element(0x04, "") + element(0x8a, "1.2.3"))));
}

} // namespace

std::vector<Fault> faults(const std::string& here, const std::string& silent)
{
    const std::string nowhere = "ldap://127.0.0.1:1/dc=y";
    return {
        {"silence", always(Answer().silence())},
        {"a stall inside the answer", always(Answer().cutAfter(8))},
        {"a stall inside an entry", always(Answer().entry("cn=a,dc=x", {{"cn", {"a"}}}).cutAfter(20))},
        {"an end of the connection", always(Answer().drop())},
        {"an end inside an entry", always(Answer().cutEntry("cn=a,dc=x", {{"cn", {"a"}}}))},
        {"a reset", always(Answer().reset())},
        {"another protocol", always(Answer().raw("HTTP/1.1 400 Bad Request\r\n\r\n"))},
        {"a malformed message", always(Answer().malformed())},
        {"a huge length", hugeLength},
        {"bytes one by one", always(Answer().drip(std::chrono::milliseconds(5)).result(LDAP_BUSY))},
        {"an answer to another request", wrongId},
        {"an answer to another operation", wrongOperation, true},
        {"an empty result", emptyResult},
        {"a notice with success", always(Answer().notice(LDAP_SUCCESS)), true},
        {"a notice with a cut result", always(Answer().notice(LDAP_SIZELIMIT_EXCEEDED))},
        {"a notice with a reason", always(Answer().notice(LDAP_UNAVAILABLE, "going down"))},
        {"a notice with a referral", always(Answer().notice(LDAP_SUCCESS, "", {nowhere}))},
        {"a notice without a name", always(Answer().notice(LDAP_SUCCESS, "", {}, ""))},
        {"an unsolicited message and silence", always(unsolicited())},
        {"a referral to nowhere", always(Answer().referral({nowhere}))},
        {"a referral to a silent server", always(Answer().referral({silent + "/dc=y"}))},
        {"a referral to a silent server with TLS",
         always(Answer().referral({"ldaps" + silent.substr(silent.find(':')) + "/dc=y"}))},
        {"a referral back to here", always(Answer().referral({here + "/dc=x"})), false, true},
        {"a reference to a silent server and no end",
         always(Answer().entry("cn=a,dc=x").reference({silent + "/dc=y"}).silence())},
        {"the code busy", always(Answer().result(LDAP_BUSY, "later"))},
    };
}

} // namespace KVR
