#pragma once

#include "ConfigTest.h"

#include <algorithm>

namespace KVR
{

inline constexpr char configDatabase[] = "olcDatabase={0}config,cn=config";
inline constexpr char chainOverlay[] = "olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";

/** Writes down those operations too that agreements and providers are changed with; they do nothing. */
class PartnerConnection : public OverridingConnection
{
public:
    using OverridingConnection::OverridingConnection;

    std::string LocalToUtf8(const std::string& text) override
    {
        calls.push_back("LocalToUtf8 " + text);
        return "utf-8 " + text;
    }

    void DeleteAttr(const std::string& dn, const std::string& attribute) override
    {
        calls.push_back("DeleteAttr " + dn + " " + attribute);
    }

    void UpdateDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) override
    {
        write("UpdateDN " + dn, attributes);
    }

    void DeleteDN(const std::string& dn) override { calls.push_back("DeleteDN " + dn); }

    void AddDN(const std::string& dn, std::multimap<std::string, std::string>& attributes) override
    {
        write("AddDN " + dn, attributes);
    }

    void EnumerateSyncRepls(std::list<std::string>& agreements) override
    {
        if (listed)
        {
            calls.emplace_back(agreements.empty() ? "EnumerateSyncRepls"
                                                  : "EnumerateSyncRepls into something");
            agreements = *listed;
            return;
        }
        OverridingConnection::EnumerateSyncRepls(agreements);
    }

    void EnumerateLdapProviders(std::map<std::string, std::string>& providers) override
    {
        if (mapped)
        {
            calls.emplace_back(providers.empty() ? "EnumerateLdapProviders"
                                                 : "EnumerateLdapProviders into something");
            providers = *mapped;
            return;
        }
        OverridingConnection::EnumerateLdapProviders(providers);
    }

private:
    void write(std::string call, const std::multimap<std::string, std::string>& attributes)
    {
        for (const auto& [name, value] : attributes)
        {
            call.append(" ").append(name).append(" '").append(value).append("'");
        }
        calls.push_back(call);
    }
};

/** A connected connection, and operations on agreements with other servers. */
class PartnerTest : public ConfigTest
{
protected:
    void SetUp() override
    {
        ConfigTest::SetUp();
        host.domainName = "home.example";
        host.serverHost = "main.home.example";
        host.hostName = "srv1.home.example";
        host.parameters = {
            {"KVRD_USER", "kvrd"}, {"DOMAIN_DN", "dc=home,dc=example"}, {"REALM", "HOME.EXAMPLE"}};
    }

    /** What is called on `partner`, whether or not entities are fetched into one object. */
    std::vector<std::string> called() const
    {
        std::vector<std::string> texts = partner.calls;
        std::replace(texts.begin(), texts.end(), std::string("Fetch again"), std::string("Fetch"));
        return texts;
    }

    /** Connects `partner` as well, in this character set, and forgets what it has called for that. */
    void connectPartner(const std::string& codeset = "UTF-8")
    {
        const DefaultCodesetGuard guard(codeset);
        connect(partner);
        partner.calls.clear();
    }

    PartnerConnection partner{host};
};

} // namespace KVR
