#include "LoadedModule.h"

#include <clocale>
#include <cstdlib>
#include <stdexcept>

namespace KVR::Bench
{

std::string serverVariable(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): no other thread
    if (value == nullptr)
    {
        throw std::runtime_error(std::string(name) + " is not set: run this with dev/private-slapd");
    }
    return value;
}

void useCharacterSet()
{
    if (std::setlocale(LC_CTYPE, "") == nullptr)
    {
        throw std::runtime_error("the locale of the environment is not there");
    }
}

LoadedModule::LoadedModule(const std::string& file) : module_(core_, file)
{
    core_.SetParameter("KVR_PRM_LDAP_URIS", serverVariable("KVR_TEST_LDAP_URI"));
    wrapper_ = std::dynamic_pointer_cast<IKVRLdapWrapper>(core_.FindInterface("ldap"));
    if (!wrapper_)
    {
        throw std::runtime_error("'" + file + "' offers no interface \"ldap\"");
    }
}

std::shared_ptr<IKVRLdapConnection> LoadedModule::connect()
{
    auto connection = wrapper_->getConnection();
    connection->Connect(serverVariable("KVR_TEST_LDAP_URI"), KVRAuthAnonymous);
    return connection;
}

} // namespace KVR::Bench
