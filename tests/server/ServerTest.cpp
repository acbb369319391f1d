#include "ServerTest.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace KVR::ServerTests
{

const std::string mainDatabaseDn = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
const std::string notConnected = "LDAP connection isn`t established.";
const std::string insufficientAccess = "Insufficient access. The user should have administrator privilege.";

namespace
{

std::vector<std::string> serverOptions(const std::vector<std::string>& more)
{
    std::vector<std::string> options{"--entries", "0", "--data", KVR_ENTRIES};
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

} // namespace

DeadPort::DeadPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), port_(0)
{
    // Bound, so that nobody else gets the port, and never listening, so that it refuses.
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_, raw, size) != 0 || getsockname(socket_, raw, &size) != 0)
    {
        throw std::runtime_error("no port to refuse connections on");
    }
    port_ = ntohs(address.sin_port);
}

DeadPort::~DeadPort()
{
    close(socket_);
}

std::string DeadPort::hostAndPort() const
{
    return "127.0.0.1:" + std::to_string(port_);
}

ServerTest::ServerTest(const std::vector<std::string>& moreOptions)
    : server(serverOptions(moreOptions)), connection(core)
{
    connection.Connect(server.hostAndPort(), KVRAuthAnonymous);
}

std::shared_ptr<IKVRLdapQuery> ServerTest::search(const std::string& base, const std::string& filter,
                                                  alSCOPE scope, std::list<std::string> names)
{
    return connection.Search(base, filter, names, scope);
}

std::shared_ptr<IKVRLdapEntity> ServerTest::read(const std::string& dn, const std::list<std::string>& names)
{
    const auto query = search(dn, "(objectClass=*)", alSCOPE_BASE, names);
    std::shared_ptr<IKVRLdapEntity> entity;
    if (!query || !query->Fetch(entity))
    {
        throw std::runtime_error("there is no entry " + dn);
    }
    return entity;
}

std::vector<std::string> ServerTest::walk(IKVRLdapQuery& query)
{
    std::vector<std::string> dns;
    std::shared_ptr<IKVRLdapEntity> entity;
    while (query.Fetch(entity))
    {
        dns.push_back(entity->dn);
    }
    return dns;
}

} // namespace KVR::ServerTests
