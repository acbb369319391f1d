#pragma once

#include "ConnectionTest.h"
#include "KVRLdapSession.h"

#include <IKVRLdapQuery.h>

#include <ldap.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

namespace KVR
{

using Support::Transport;

/** A limit that a test can wait for, and what no wait that keeps it comes near to. */
inline constexpr std::chrono::milliseconds shortLimit{300};
inline constexpr std::chrono::seconds farBeyond{25}; // less than the 30 that a connection begins with

/** Connections to servers that harm, over each transport, with a short time limit. */
class HostileTest : public ::testing::Test
{
protected:
    explicit HostileTest(Transport transport = Transport::Tcp) : responder(transport)
    {
        library.timeLimit = shortLimit;
        const int never = LDAP_OPT_X_TLS_NEVER; // the responder's certificate is of its own making
        ldap_set_option(nullptr, LDAP_OPT_X_TLS_REQUIRE_CERT, &never);
    }

    /** Connects to a list of servers. */
    bool connectTo(CKVRLdapConnection& connection, const std::string& uris)
    {
        return connection.Connect(uris, KVRAuthAnonymous);
    }

    std::unique_ptr<CKVRLdapSession> connectionTo(const std::string& uris)
    {
        host.parameters["KVR_PRM_LDAP_URIS"] = uris;
        return std::make_unique<CKVRLdapSession>(host);
    }

    /** A connection that is connected to the responder. */
    std::unique_ptr<CKVRLdapSession> connected()
    {
        auto connection = connectionTo(responder.uri());
        EXPECT_EQ(Caught(), caught([&] { connection->Connect(responder.uri(), KVRAuthAnonymous); }));
        responder.clear();
        return connection;
    }

    /** Runs a call, which must end soon. */
    Caught inTime(const std::function<void()>& call)
    {
        const auto begin = std::chrono::steady_clock::now();
        Caught error = caught(call);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, farBeyond);
        return error;
    }

    static std::shared_ptr<IKVRLdapQuery> search(IKVRLdapConnection& connection,
                                                 const std::string& base = "dc=x")
    {
        std::list<std::string> names;
        return connection.Search(base, "(cn=*)", names, alSCOPE_SUB);
    }

    static void readBinary(IKVRLdapConnection& connection)
    {
        unsigned long size = 0;
        const std::unique_ptr<char, decltype(&std::free)> value(
            connection.GetAttrBinaryValue("dc=x", "cn", size), &std::free);
    }

    static void write(IKVRLdapConnection& connection, const std::string& value = "a")
    {
        connection.SetAttrValue("dc=x", "cn", value, alADD);
    }

    static Caught searchFailure(const std::string& reason, const std::string& details = "")
    {
        return ldapErrorAt("OpenLDAP error on searching 'dc=x (cn=*)' - " + reason,
                           "KVRLdapConnection.cpp:LINE(Search)", details);
    }

    static Caught binaryFailure(const std::string& reason)
    {
        return ldapErrorAt("OpenLDAP error on searching 'dc=x cn=*' - " + reason,
                           "KVRLdapConnectionAttribute.cpp:LINE(GetAttrBinaryValue)");
    }

    static Caught writeFailure(const std::string& reason, const std::string& value = "a")
    {
        return ldapErrorAt("OpenLDAP error on modifying attribute 'cn' of dn 'dc=x' to value '" + value +
                               "' - " + reason,
                           "KVRLdapConnectionAttribute.cpp:LINE(SetAttrValue)");
    }

    static Caught bindFailure(const std::string& reason)
    {
        return ldapErrorAt("OpenLDAP error on bind - " + reason, "KVRLdapConnection.cpp:LINE(Connect)");
    }

    Support::LogCapture log;
    Support::LdapInterposer library;
    Support::LdapResponder responder;
    Support::RecordingHost host;
};

/** The same over each transport. */
class EachTransport : public HostileTest, public ::testing::WithParamInterface<Transport>
{
protected:
    EachTransport() : HostileTest(GetParam()) {}
};

inline std::string transportName(const ::testing::TestParamInfo<Transport>& info)
{
    static const std::map<Transport, std::string> names{
        {Transport::Tcp, "Ldap"}, {Transport::Local, "Ldapi"}, {Transport::Tls, "Ldaps"}};
    return names.at(info.param);
}

inline const auto transports = ::testing::Values(Transport::Tcp, Transport::Local, Transport::Tls);

} // namespace KVR
