#include "Partner.h"

#include "DistinguishedName.h"
#include "Text.h"

#include <kvr/KVRUtils.h>

#include <algorithm>
#include <list>

namespace KVR::Cli
{

namespace
{

constexpr const char* ldapScheme = "ldap://";
constexpr const char* ldapsScheme = "ldaps://";
constexpr const char* ldapiScheme = "ldapi://";
constexpr const char* ldapPort = "389";
constexpr const char* hexDigits = "0123456789abcdef";
constexpr const char* digits = "0123456789";
constexpr const char* hostCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-._";
constexpr const char* labelCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";

bool consistsOf(const std::string& text, const std::string& characters)
{
    return !text.empty() && text.find_first_not_of(characters) == std::string::npos;
}

bool beginsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

bool isLoopback(const std::string& host)
{
    return host == "localhost" || host == "localhost.localdomain" || host == "127.0.0.1" || host == "::1";
}

std::string qualified(const std::string& host, const std::string& domain)
{
    const bool isShort = host.find_first_of(".:") == std::string::npos;
    return isShort && !domain.empty() && !isLoopback(host) ? host + '.' + LowerAscii(domain) : host;
}

std::optional<HostPort> bracketed(const std::string& text, std::string& rest)
{
    const std::size_t end = text.find(']');
    if (end == std::string::npos || !consistsOf(text.substr(1, end - 1), std::string(hexDigits) + ":."))
    {
        return std::nullopt;
    }
    rest = text.substr(end + 1);
    return HostPort{text.substr(1, end - 1), ""};
}

bool isOnThisServer(const HostPort& named, const std::string& uri, const OwnNames& own)
{
    const bool isUnnamed = beginsWith(uri, ldapiScheme) || uri == "ldap://" || uri == "ldap:///";
    const std::optional<HostPort> server = isUnnamed ? HostPort{"localhost", ldapPort} : ParseServerUri(uri);
    if (!server)
    {
        return false;
    }
    const std::string serverHost = qualified(server->host, own.domain);
    const std::string ownHost = qualified(LowerAscii(own.host), own.domain);
    const std::string namedHost = qualified(named.host, own.domain);
    const bool isHere = isLoopback(serverHost) || serverHost == ownHost;
    const bool sameHost =
        isLoopback(namedHost) || namedHost == serverHost || (isHere && namedHost == ownHost);
    // A server of ldaps:// listens for ldap:// as well, most likely where that is usual.
    const bool hasUsualPort = server->port.empty() || beginsWith(uri, ldapsScheme);
    const bool samePort =
        named.port.empty() || named.port == server->port || (hasUsualPort && named.port == ldapPort);
    return sameHost && samePort;
}

} // namespace

std::optional<HostPort> ParseHost(const std::string& text)
{
    std::string whole = LowerAscii(text);
    std::string rest;
    std::optional<HostPort> result;
    if (beginsWith(whole, "["))
    {
        result = bracketed(whole, rest);
    }
    else
    {
        const std::size_t colon = std::min(whole.find(':'), whole.size());
        rest = whole.substr(colon);
        whole.resize(colon);
        if (whole.size() > 1 && whole.back() == '.')
        {
            whole.pop_back();
        }
        if (consistsOf(whole, hostCharacters) && whole.front() != '.' && whole.front() != '-')
        {
            result = HostPort{whole, ""};
        }
    }
    if (!result || rest.empty())
    {
        return result;
    }
    constexpr std::size_t longestPort = 5;
    result->port = rest.substr(1);
    const bool isPort =
        rest.front() == ':' && result->port.size() <= longestPort && consistsOf(result->port, digits);
    return isPort ? result : std::nullopt;
}

std::optional<HostPort> ParseServerUri(const std::string& uri)
{
    for (const std::string scheme : {ldapScheme, ldapsScheme})
    {
        if (beginsWith(uri, scheme))
        {
            const bool hasSlash = uri.back() == '/' && uri.size() > scheme.size();
            return ParseHost(uri.substr(scheme.size(), uri.size() - scheme.size() - (hasSlash ? 1 : 0)));
        }
    }
    return std::nullopt;
}

bool IsThisServer(const HostPort& named, const std::string& uris, const OwnNames& own)
{
    std::list<std::string> words;
    StrTolist(uris, words, ' ');
    return std::any_of(words.begin(), words.end(),
                       [&](const std::string& uri) { return isOnThisServer(named, uri, own); });
}

std::optional<std::string> ParseDomain(const std::string& text)
{
    const bool hasDot = text.size() > 1 && text.back() == '.';
    const std::string domain = text.substr(0, text.size() - (hasDot ? 1 : 0));
    std::list<std::string> labels;
    StrTolist(domain, labels, '.');
    const bool isDomain =
        std::all_of(labels.begin(), labels.end(),
                    [](const std::string& label) { return consistsOf(label, labelCharacters); });
    return isDomain ? std::optional(domain) : std::nullopt;
}

bool IsSameDn(const std::string& one, const std::string& other)
{
    return IsWithinDn(one, other) && IsWithinDn(other, one);
}

bool IsWithinDn(const std::string& dn, const std::string& other)
{
    const std::optional<Dn> inner = ParseDn(dn);
    const std::optional<Dn> outer = ParseDn(other);
    return inner && outer && inner->size() >= outer->size() &&
           std::equal(outer->rbegin(), outer->rend(), inner->rbegin(),
                      [](const Rdn& one, const Rdn& another) { return one.key == another.key; });
}

} // namespace KVR::Cli
