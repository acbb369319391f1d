#include "OwnDomain.h"

#include <kvr/KVRUtils.h>

#include <algorithm>
#include <sstream>

namespace KVR
{

namespace
{

bool isHostCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_';
}

std::string withoutDotAtTheEnd(const std::string& name)
{
    return !name.empty() && name.back() == '.' ? name.substr(0, name.size() - 1) : name;
}

} // namespace

std::string domainOfDn(const std::string& dn)
{
    std::list<std::string> components;
    StrTolist(dn, components, ',');
    std::string domain;
    for (const std::string& component : components)
    {
        const std::size_t sign = component.find('=');
        std::string type = Trim(component.substr(0, sign));
        std::transform(type.begin(), type.end(), type.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        const std::string label = sign != std::string::npos ? Trim(component.substr(sign + 1)) : "";
        if (type != "dc" || label.empty() || !std::all_of(label.begin(), label.end(), isHostCharacter))
        {
            return {};
        }
        domain += (domain.empty() ? "" : ".") + label;
    }
    return domain;
}

std::string domainOfHost(const std::string& hostName)
{
    const std::size_t dot = hostName.find('.');
    const std::string domain = dot != std::string::npos ? withoutDotAtTheEnd(hostName.substr(dot + 1)) : "";
    const bool isAddress = domain.find_first_not_of("0123456789", domain.rfind('.') + 1) == std::string::npos;
    return isAddress ? "" : domain;
}

std::string searchDomainOf(std::istream& configuration)
{
    std::string domain;
    for (std::string line; std::getline(configuration, line);)
    {
        std::istringstream words(line);
        std::string keyword;
        std::string first;
        // the resolver takes no keyword behind white space, and the last line of several
        if (line.find_first_of(" \t") != 0 && words >> keyword >> first &&
            (keyword == "search" || keyword == "domain"))
        {
            domain = withoutDotAtTheEnd(first);
        }
    }
    return domain;
}

} // namespace KVR
