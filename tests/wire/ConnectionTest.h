#pragma once

#include "Caught.h"
#include "KVRLdapConnection.h"
#include "LdapInterposer.h"
#include "LdapResponder.h"
#include "LogCapture.h"
#include "RecordingHost.h"

#include <EKVROpenLdapError.h>
#include <kvr/KVRUtils.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace KVR
{

using Support::Answer;
using Support::Caught;
using Support::caught;
using Support::LdapRequest;
using Support::Operation;

/** @name Errors as the module throws them, to be compared with what was caught
 * @{ */
inline Caught checkError(const std::string& text)
{
    return {typeid(EKVRCheckError), text, "", ""};
}

inline Caught plainError(const std::string& text)
{
    return {typeid(EKVRError), text, "", ""};
}

inline Caught internalError(const std::string& text, const std::string& place)
{
    return {typeid(EKVRInternalError), text, "", "src/interfaces/ldap-wrapper/" + place};
}

/** A failure without a place in its text. */
inline Caught ldapError(const std::string& text, const std::string& details = "")
{
    return {typeid(EKVROpenLdapError), text, details, ""};
}

/** @param place "file:LINE(function)", which also ends the text */
inline Caught ldapErrorAt(const std::string& text, const std::string& place, const std::string& details = "")
{
    return {typeid(EKVROpenLdapError), text + " in " + place, details,
            "src/interfaces/ldap-wrapper/" + place};
}

inline Caught notConnected()
{
    return checkError("LDAP connection isn`t established.");
}

/** What result codes 47 to 50 become. */
inline Caught accessError(int code, const std::string& details = "")
{
    return ldapError("OpenLDAP error Insufficient access. The user should have administrator privilege. - " +
                         std::string(ldap_err2string(code)),
                     details);
}
/** @} */

/** The character set that stands in for the "C" locale's, restored to UTF-8 at the end. */
class DefaultCodesetGuard
{
public:
    explicit DefaultCodesetGuard(const std::string& codeset) { SetDefaultCodeset(codeset); }
    ~DefaultCodesetGuard() { SetDefaultCodeset("UTF-8"); }
    DefaultCodesetGuard(const DefaultCodesetGuard&) = delete;
    DefaultCodesetGuard& operator=(const DefaultCodesetGuard&) = delete;
};

/** A responder, and what a connection to it needs. */
class WireTest : public ::testing::Test
{
protected:
    Support::LogCapture log;
    Support::LdapInterposer library;
    Support::LdapResponder responder;
    Support::RecordingHost host;

    /** Connects anonymously and forgets the requests, calls and messages so far. */
    void connect(CKVRLdapConnection& connection)
    {
        ASSERT_TRUE(connection.Connect(responder.target(), KVRAuthAnonymous));
        responder.clear();
        library.setOptions.clear();
        library.readOptions.clear();
        host.calls.clear();
        log.clear();
    }
};

/** A connection made, but not connected yet. */
class UnconnectedTest : public WireTest
{
protected:
    CKVRLdapConnection connection{host};
};

/** A connection that is connected. */
class ConnectedTest : public UnconnectedTest
{
protected:
    void SetUp() override { connect(connection); }
};

} // namespace KVR
