#pragma once

#include "ConnectionTest.h"
#include "KVRLdapEntity.h"
#include "KVRLdapQuery.h"

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KVR
{

using EntityPointer = std::shared_ptr<IKVRLdapEntity>;
using QueryPointer = std::shared_ptr<IKVRLdapQuery>;
using Values = std::vector<std::pair<std::string, std::string>>;

inline constexpr char fetchPlace[] = "KVRLdapQuery.cpp:LINE(Fetch)";
inline constexpr char checkPlace[] = "KVRLdapConnection.cpp:LINE(InternalCheck)";
inline constexpr char sizeLimitWarning[] =
    "LDAP search size limit exceeded. Some entries may be unavailable.";

/** Three entries with one value each, "cn=a,dc=x" to "cn=c,dc=x". */
inline Answer threeEntries()
{
    return Answer()
        .entry("cn=a,dc=x", {{"cn", {"a"}}})
        .entry("cn=b,dc=x", {{"cn", {"b"}}})
        .entry("cn=c,dc=x", {{"cn", {"c"}}});
}

inline QueryPointer searchWith(IKVRLdapConnection& connection, const std::string& base = "dc=x")
{
    std::list<std::string> attributes;
    return connection.Search(base, "(objectClass=*)", attributes, alSCOPE_SUB);
}

/** What Search throws with the text of `searchWith`. */
inline Caught searchError(const std::string& libraryText, const std::string& details = "")
{
    return ldapErrorAt("OpenLDAP error on searching 'dc=x (objectClass=*)' - " + libraryText,
                       "KVRLdapConnection.cpp:LINE(Search)", details);
}

/** The DNs from the cursor's place to the end. */
inline std::vector<std::string> walk(IKVRLdapQuery& query)
{
    std::vector<std::string> dns;
    EntityPointer entity;
    while (query.Fetch(entity))
    {
        dns.push_back(entity->dn);
    }
    return dns;
}

inline Values valuesOf(const IKVRLdapEntity& entity)
{
    return {entity.attributes.begin(), entity.attributes.end()};
}

/** A connected connection, and searches on it. */
class SearchTest : public ConnectedTest
{
protected:
    QueryPointer search(const std::string& base = "dc=x") { return searchWith(connection, base); }

    /** Searches with this answer. */
    QueryPointer searchFor(const Answer& answer)
    {
        responder.onSearch(answer);
        return search();
    }

    /** Another search that ends with this code, so that the session keeps it. */
    void keepCode(int code, const std::string& diagnostic = "")
    {
        responder.onSearch(Answer().result(code, diagnostic));
        caught([&] { search(); });
    }
};

} // namespace KVR
