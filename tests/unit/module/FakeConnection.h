#pragma once

#include "KVRLdapConnection.h"
#include "KVRLdapQuery.h"

#include <gmock/gmock.h>

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace KVR::Support
{

using AttributeMap = std::multimap<std::string, std::string>;

/** A query over entries that the test wrote down. */
class FakeQuery : public IKVRLdapQuery
{
public:
    explicit FakeQuery(std::deque<AttributeMap> content) : entries(std::move(content)) {}

    void First() override { ++firstCalls; }

    bool Fetch(std::shared_ptr<IKVRLdapEntity>& entity) override
    {
        ++fetchCalls;
        receivedEmptyEntity = !entity;
        if (entries.empty())
        {
            return false;
        }
        entity = makeEntity();
        entity->attributes = entries.front();
        entries.pop_front();
        return true;
    }

    int Count() override { return static_cast<int>(entries.size()); }

    std::function<std::shared_ptr<IKVRLdapEntity>()> makeEntity;
    std::deque<AttributeMap> entries;
    int firstCalls = 0;
    int fetchCalls = 0;
    bool receivedEmptyEntity = false;
};

/** A connection whose operations on entries are mocks, without a server. */
class FakeConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    MOCK_METHOD(std::shared_ptr<IKVRLdapQuery>, Search,
                (const std::string&, const std::string&, std::list<std::string>&, alSCOPE), (override));
    MOCK_METHOD(void, AddDN, (const std::string&, AttributeMap&), (override));
    MOCK_METHOD(void, UpdateDN, (const std::string&, AttributeMap&), (override));
    MOCK_METHOD(void, DeleteDN, (const std::string&), (override));
    MOCK_METHOD(void, RenameDN, (const std::string&, const std::string&), (override));

    std::shared_ptr<FakeQuery> queryWith(std::deque<AttributeMap> entries)
    {
        auto query = std::make_shared<FakeQuery>(std::move(entries));
        query->makeEntity = [this] { return AllocEntity(); };
        return query;
    }
};

} // namespace KVR::Support
