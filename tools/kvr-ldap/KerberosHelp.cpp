#include "KerberosHelp.h"

#include <algorithm>
#include <array>

namespace KVR::Cli
{

namespace
{

struct KnownText
{
    const char* text;
    const char* endOfName; /**< where the name behind the text ends; null when none follows */
    const char* help;      /**< "%" stands for the name */
};

constexpr const char* noTicket = "KRB5CCNAME must name a cache with a valid ticket; get one with kinit";
constexpr const char* expired = "the ticket has expired; get a new one with kinit";
constexpr const char* noServerKey =
    "the server has no key for its service: its keytab, which KRB5_KTNAME names, "
    "must exist and hold the key of ldap/HOST";

// The texts of a server without keys say that credentials are missing too, so what is looked for is
// what only one failure says.
constexpr std::array<KnownText, 12> knownTexts{{
    {"KRB5CCNAME not set", nullptr, noTicket},
    {"KRB5CCNAME is empty", nullptr, noTicket},
    {"No Kerberos credentials available", nullptr, noTicket},
    {"context has expired", nullptr, expired},
    {"Ticket expired", nullptr, expired},
    {"(Server ", " not found in Kerberos database",
     "the realm knows no service '%'; --uri must give the server's name as the realm has it, not an address "
     "or "
     "an alias"},
    {"Cannot contact any KDC for realm '", "'",
     "no key distribution centre of the realm '%' answers; check the network and its addresses in krb5.conf"},
    {"Cannot find KDC for realm \"", "\"",
     "krb5.conf names no key distribution centre for the realm '%', nor does the network"},
    {"Key table file '", nullptr, noServerKey},
    {"No key table entry found", nullptr, noServerKey},
    {"gss_accept_sec_context", nullptr,
     "the server can't read the ticket: its keytab does not hold the present key of its service"},
    {"No worthy mechs found", nullptr,
     "this computer has no SASL plug-in for GSSAPI, or the server offers no GSSAPI"},
}};

/** The help for a text at this place, or "" when the name is not followed by what must follow. */
std::string helpAt(const KnownText& known, const std::string& diagnostic, std::size_t place)
{
    std::string help = known.help;
    if (known.endOfName == nullptr)
    {
        return help;
    }
    const std::size_t begin = place + std::char_traits<char>::length(known.text);
    const std::size_t end = diagnostic.find(known.endOfName, begin);
    return end == std::string::npos ? ""
                                    : help.replace(help.find('%'), 1, diagnostic.substr(begin, end - begin));
}

} // namespace

std::string KerberosHelp(const std::string& diagnostic)
{
    for (const KnownText& known : knownTexts)
    {
        const std::size_t place = diagnostic.find(known.text);
        std::string help = place == std::string::npos ? "" : helpAt(known, diagnostic, place);
        if (!help.empty())
        {
            return help;
        }
    }
    return "klist shows the tickets of the cache that KRB5CCNAME names; with KRB5_TRACE=/dev/stderr the "
           "Kerberos "
           "library tells what it does";
}

} // namespace KVR::Cli
