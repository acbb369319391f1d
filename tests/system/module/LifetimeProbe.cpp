// Loads the module, uses it, unloads it and loads it again, while connections, cursors, entities
// and errors of each turn are still alive. Run under valgrind it shows that nothing is lost.

#include "LdapResponder.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapConnection.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <IKVRLdapWrapper.h>
#include <kvr/CKVRCore.h>
#include <kvr/CKVRModule.h>
#include <kvr/EKVRError.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace
{

using namespace KVR;
using Support::Answer;
using Support::LdapResponder;

constexpr int entriesFound = 3;

void require(bool condition, const char* what)
{
    if (!condition)
    {
        std::fprintf(stderr, "lifetime-probe: %s\n", what);
        std::exit(EXIT_FAILURE);
    }
}

Answer people()
{
    Answer answer;
    for (int i = 0; i < entriesFound; ++i)
    {
        const std::string name = "person" + std::to_string(i);
        answer.entry("cn=" + name + ",dc=example", {{"objectClass", {"top", "person"}}, {"cn", {name}}});
    }
    return answer;
}

/** What one turn leaves behind when the module goes. */
struct Remains
{
    std::shared_ptr<IKVRLdapConnection> connection;
    std::shared_ptr<IKVRLdapQuery> query;
    std::shared_ptr<IKVRLdapEntity> entity;
    std::optional<EKVROpenLdapError> error;
};

std::optional<EKVROpenLdapError> failedSearch(IKVRLdapConnection& connection)
{
    std::list<std::string> all;
    try
    {
        connection.Search("dc=example", "(not a filter", all, alSCOPE_SUB);
    }
    catch (const EKVROpenLdapError& error)
    {
        return error;
    }
    return std::nullopt;
}

Remains useModule(CKVRCore& host, LdapResponder& server)
{
    const CKVRModule module(host, KVR_MODULE_FILE);
    const auto wrapper = std::dynamic_pointer_cast<IKVRLdapWrapper>(host.FindInterface("ldap"));
    require(wrapper != nullptr, "the module registered no interface");

    Remains remains;
    remains.connection = wrapper->getConnection();
    remains.connection->Connect(server.target(), KVRAuthAnonymous);
    server.onSearch(people());
    std::list<std::string> all;
    remains.query = remains.connection->Search("dc=example", "(objectClass=*)", all, alSCOPE_SUB);
    int walked = 0;
    while (remains.query->Fetch(remains.entity))
    {
        ++walked;
    }
    require(walked == entriesFound, "the walk lost entries");
    remains.error = failedSearch(*remains.connection);
    require(remains.error.has_value(), "a bad filter was taken");
    return remains;
}

void useRemains(Remains& remains)
{
    require(remains.error->msg().find("on searching") != std::string::npos, "the error lost its text");
    require(remains.entity->ValByAttr("cn", true) == "person2", "the entity lost its values");
    remains.error.reset();
    remains.entity.reset();
    remains.query.reset();
    remains.connection->Disconnect();
    require(!remains.connection->IsConnected(), "the connection did not end");
    remains.connection.reset();
}

} // namespace

int main()
{
    LdapResponder server;
    CKVRCore host({"example.com", "server.example.com", "host.example.com"});
    for (int turn = 0; turn < 3; ++turn)
    {
        Remains remains = useModule(host, server);
        require(host.FindInterface("ldap") == nullptr, "the interface was not withdrawn");
        useRemains(remains);
    }
    std::puts("loaded, used and unloaded three times");
    return EXIT_SUCCESS;
}
