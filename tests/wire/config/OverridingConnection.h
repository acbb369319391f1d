#pragma once

#include "KVRLdapConnection.h"
#include "KVRLdapEntity.h"
#include "KVRLdapQuery.h"

#include <kvr/EKVRError.h>

#include <cerrno>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KVR
{

/** One entry of a result that the test makes. */
struct MadeEntry
{
    std::string dn;
    std::multimap<std::string, std::string> attributes;
};

/** What one search shall give. */
struct MadeResult
{
    std::vector<MadeEntry> entries;
    int count = 0;
    int errorNumber = 0;      /**< what Count leaves in errno */
    bool tellsEntries = true; /**< false lets Fetch say no although it hands out an entity */
    bool handsOut = true;     /**< false lets Fetch say yes without an entity */
};

using Calls = std::vector<std::string>;

/** An entity that writes down how it is read. */
class ObservedEntity : public CKVRLdapEntity
{
public:
    ObservedEntity(CKVRLdapConnection& owner, Calls& record) : CKVRLdapEntity(owner), calls(record) {}

    std::string ValByAttr(const std::string& name, bool quiet) override
    {
        calls.push_back("ValByAttr " + name + (quiet ? " quiet" : ""));
        return CKVRLdapEntity::ValByAttr(name, quiet);
    }

    unsigned long ValsByAttr(const std::string& name, std::list<std::string>& values, bool quiet) override
    {
        calls.push_back("ValsByAttr " + name + (quiet ? " quiet" : ""));
        return CKVRLdapEntity::ValsByAttr(name, values, quiet);
    }

private:
    Calls& calls;
};

/** A query over a made result that writes down its calls. */
class MadeQuery : public IKVRLdapQuery
{
public:
    MadeQuery(CKVRLdapConnection& owner, Calls& record, MadeResult content)
        : connection(owner), calls(record), result(std::move(content))
    {
    }

    void First() override { calls.emplace_back("First"); }

    bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) override
    {
        calls.emplace_back(entity ? "Fetch again" : "Fetch");
        if (next == result.entries.size())
        {
            return false;
        }
        const MadeEntry& entry = result.entries[next++];
        if (result.handsOut)
        {
            if (!entity)
            {
                entity = std::make_shared<ObservedEntity>(connection, calls);
            }
            entity->dn = entry.dn;
            entity->attributes = entry.attributes;
        }
        return result.tellsEntries;
    }

    int Count() override
    {
        calls.emplace_back("Count");
        errno = result.errorNumber;
        return result.count;
    }

private:
    CKVRLdapConnection& connection;
    Calls& calls;
    MadeResult result;
    std::size_t next = 0;
};

/**
 * Writes down which of its own operations are called. Searches give made results and SetAttrValue
 * does nothing; enumerations are the connection's own until the test replaces them.
 */
class OverridingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    Calls calls;

    /** Results of the next searches, no value means no query; further searches find nothing. */
    std::deque<std::optional<MadeResult>> results;

    std::optional<std::list<std::string>> listed;             /**< what list enumerations give */
    std::optional<std::map<std::string, std::string>> mapped; /**< what EnumerateDBLimits gives */
    bool refuses = false;                                     /**< SetAttrValue throws "refused" */

    bool IsConnected() override
    {
        calls.emplace_back("IsConnected");
        return CKVRLdapConnection::IsConnected();
    }

    std::string Utf8ToLocal(const std::string& text) override
    {
        calls.push_back("Utf8ToLocal " + text);
        return "local " + text;
    }

    std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter,
                                          std::list<std::string>& attributes, alSCOPE scope) override
    {
        std::string call = "Search " + base + " scope " + std::to_string(scope) + " " + filter + " for";
        for (const std::string& name : attributes)
        {
            call += " " + name;
        }
        calls.push_back(call);
        std::optional<MadeResult> result = MadeResult();
        if (!results.empty())
        {
            result = std::move(results.front());
            results.pop_front();
        }
        return result ? std::make_shared<MadeQuery>(*this, calls, *std::move(result)) : nullptr;
    }

    void SetAttrValue(const std::string& dn, const std::string& attribute, const std::string& value,
                      alOPERATION operation) override
    {
        calls.push_back("SetAttrValue " + dn + " " + attribute + " '" + value + "' " +
                        std::to_string(operation));
        if (refuses)
        {
            throw EKVRCheckError("refused", "");
        }
    }

    void EnumerateLdapSchemas(std::list<std::string>& schemas) override
    {
        enumerate("EnumerateLdapSchemas", schemas, listed,
                  [&] { CKVRLdapConnection::EnumerateLdapSchemas(schemas); });
    }

    void EnumerateIndexes(std::list<std::string>& indexes) override
    {
        enumerate("EnumerateIndexes", indexes, listed,
                  [&] { CKVRLdapConnection::EnumerateIndexes(indexes); });
    }

    void EnumerateDBLimits(std::map<std::string, std::string>& limits) override
    {
        enumerate("EnumerateDBLimits", limits, mapped,
                  [&] { CKVRLdapConnection::EnumerateDBLimits(limits); });
    }

    void EnumerateDBUniqueness(std::list<std::string>& uris) override
    {
        enumerate("EnumerateDBUniqueness", uris, listed,
                  [&] { CKVRLdapConnection::EnumerateDBUniqueness(uris); });
    }

private:
    template <typename Container, typename Original>
    void enumerate(const std::string& name, Container& container, const std::optional<Container>& replacement,
                   Original original)
    {
        if (!replacement)
        {
            original();
            return;
        }
        calls.push_back(container.empty() ? name : name + " into something");
        container = *replacement;
    }
};

} // namespace KVR
