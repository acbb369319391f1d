#pragma once

#include "ConfigTest.h"

namespace KVR::ServerTests
{

inline const char* const configDatabase = "olcDatabase={0}config,cn=config";
inline const char* const chainOverlay = "olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";

/** Values that the module takes from the host for agreements and providers. */
inline void describeDaemon(CKVRCore& core)
{
    core.SetParameter("KVRD_USER", "kvrd");
    core.SetParameter("DOMAIN_DN", "dc=example,dc=com");
    core.SetParameter("REALM", "EXAMPLE.COM");
}

/** Partners of the server that refuse every connection: here only the configuration matters. */
class PartnerTest : public ConfigTest
{
protected:
    explicit PartnerTest(const std::vector<std::string>& moreOptions = {}) : ConfigTest(moreOptions)
    {
        describeDaemon(core);
    }

    const Attributes& attributes(const std::string& dn)
    {
        entry_ = read(dn);
        return entry_->attributes;
    }

    std::vector<std::string> values(const std::string& dn, const std::string& name)
    {
        std::vector<std::string> texts;
        const auto [begin, end] = attributes(dn).equal_range(name);
        for (auto value = begin; value != end; ++value)
        {
            texts.push_back(value->second);
        }
        return texts;
    }

    /** Every entry of the configuration but the schema, which nothing changes here. */
    std::map<std::string, Attributes> configuration()
    {
        std::map<std::string, Attributes> entries;
        const auto query = search("cn=config", "(!(objectClass=olcSchemaConfig))", alSCOPE_SUB);
        std::shared_ptr<IKVRLdapEntity> entity;
        while (query->Fetch(entity))
        {
            entries.emplace(entity->dn, entity->attributes);
        }
        return entries;
    }

    const DeadPort first;
    const DeadPort second;

private:
    std::shared_ptr<IKVRLdapEntity> entry_;
};

} // namespace KVR::ServerTests
