#pragma once

#include <istream>
#include <string>

namespace KVR
{

/** DNS domain of a DN whose RDNs are single "dc" components (RFC 2247); "" for any other DN. */
std::string domainOfDn(const std::string& dn);

/**
 * What follows the first dot of a host name, without a dot at the end; "" when nothing does, and for an
 * address, whose last part is a number.
 */
std::string domainOfHost(const std::string& hostName);

/** First search domain of a resolver's configuration (resolv.conf(5)); "" when it names none. */
std::string searchDomainOf(std::istream& configuration);

} // namespace KVR
