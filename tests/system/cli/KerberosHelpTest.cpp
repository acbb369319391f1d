#include "KerberosHelp.h"

#include <gtest/gtest.h>

namespace
{

using KVR::Cli::KerberosHelp;

const std::string gss =
    "OpenLDAP error on GGSAPI bind - Local error: SASL(-1): generic failure: GSSAPI Error: ";
const std::string unspecified = gss + "Unspecified GSS failure.  Minor code may provide more information ";
const std::string noCredentials =
    gss + "No credentials were supplied, or the credentials were unavailable or inaccessible ";

constexpr const char* kinit = "KRB5CCNAME must name a cache with a valid ticket; get one with kinit";
constexpr const char* expired = "the ticket has expired; get a new one with kinit";
constexpr const char* keytab =
    "the server has no key for its service: its keytab, which KRB5_KTNAME names, must "
    "exist and hold the key of ldap/HOST";
constexpr const char* general = "klist shows the tickets of the cache that KRB5CCNAME names; with "
                                "KRB5_TRACE=/dev/stderr the Kerberos library tells what it does";

TEST(CliKerberosHelp, WithoutACacheThatHasATicket)
{
    EXPECT_EQ(KerberosHelp("OpenLDAP error can't bind via GGSAPI: KRB5CCNAME not set"), kinit);
    EXPECT_EQ(KerberosHelp("KRB5CCNAME is empty"), kinit);
    EXPECT_EQ(
        KerberosHelp(noCredentials + "(No Kerberos credentials available (default cache: FILE:/tmp/none))"),
        kinit);
    EXPECT_EQ(KerberosHelp(noCredentials +
                           "(No Kerberos credentials available: Bad format in credentials cache "
                           "(filename: /tmp/empty))"),
              kinit);
}

TEST(CliKerberosHelp, WithAnExpiredTicket)
{
    EXPECT_EQ(KerberosHelp(gss + "The referenced context has expired (Success)"), expired);
    EXPECT_EQ(KerberosHelp(unspecified + "(Ticket expired)"), expired);
}

TEST(CliKerberosHelp, AnUnknownServiceIsNamed)
{
    EXPECT_EQ(
        KerberosHelp(unspecified + "(Server ldap/127.0.0.5@EXAMPLE.COM not found in Kerberos database)"),
        "the realm knows no service 'ldap/127.0.0.5@EXAMPLE.COM'; --uri must give the server's name as the "
        "realm has it, not an address or an alias");
}

TEST(CliKerberosHelp, AMissingCentreIsNamed)
{
    EXPECT_EQ(
        KerberosHelp(unspecified + "(Cannot contact any KDC for realm 'EXAMPLE.COM')"),
        "no key distribution centre of the realm 'EXAMPLE.COM' answers; check the network and its addresses "
        "in krb5.conf");
    EXPECT_EQ(KerberosHelp(unspecified + "(Cannot find KDC for realm \"EXAMPLE.COM\")"),
              "krb5.conf names no key distribution centre for the realm 'EXAMPLE.COM', nor does the network");
}

TEST(CliKerberosHelp, AServerWithoutItsKeyIsNotTakenForAMissingTicket)
{
    EXPECT_EQ(KerberosHelp(noCredentials + "(Key table file '/etc/krb5.keytab' not found)"), keytab);
    EXPECT_EQ(KerberosHelp(noCredentials + "(No key table entry found matching ldap/srv1@)"), keytab);
}

TEST(CliKerberosHelp, AServerWithAnOldKey)
{
    EXPECT_EQ(KerberosHelp("SASL(-13): authentication failure: GSSAPI Failure: gss_accept_sec_context"),
              "the server can't read the ticket: its keytab does not hold the present key of its service");
}

TEST(CliKerberosHelp, WithoutThePlugin)
{
    EXPECT_EQ(
        KerberosHelp("OpenLDAP error on GGSAPI bind - Unknown authentication method: SASL(-4): no mechanism "
                     "available: No worthy mechs found"),
        "this computer has no SASL plug-in for GSSAPI, or the server offers no GSSAPI");
}

TEST(CliKerberosHelp, IsGeneralForAnythingElse)
{
    for (const std::string text :
         {"", "Clock skew too great", "(Server ", "(Server ldap/x is unwell",
          "Cannot contact any KDC for realm 'EXAMPLE", "No credentials were supplied"})
    {
        EXPECT_EQ(KerberosHelp(text), general) << text;
    }
}

} // namespace
