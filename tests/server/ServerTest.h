#pragma once

#include "DirectEditor.h"

#include <EKVROpenLdapError.h>
#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>
#include <KVRLdapConnection.h>
#include <kvr/CKVRCore.h>

#include <Caught.h>
#include <LogCapture.h>
#include <PrivateSlapd.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace KVR::ServerTests
{

using Support::Caught;
using Support::caught;
using Support::LogCapture;

/** The main database as the build names it, which is the one that the private servers have. */
extern const std::string mainDatabaseDn;
extern const std::string notConnected;
extern const std::string insufficientAccess;

/** A TCP port of 127.0.0.1 that refuses connections as long as this object lives. */
class DeadPort
{
public:
    DeadPort();
    ~DeadPort();

    DeadPort(const DeadPort&) = delete;
    DeadPort& operator=(const DeadPort&) = delete;

    std::string hostAndPort() const;

private:
    int socket_;
    std::uint16_t port_;
};

/** Counts what the cursor and the entity call through the virtual table. */
class CountingConnection : public CKVRLdapConnection
{
public:
    using CKVRLdapConnection::CKVRLdapConnection;

    std::shared_ptr<IKVRLdapQuery> Search(const std::string& base, const std::string& filter,
                                          std::list<std::string>& attributes, alSCOPE scope) override
    {
        ++searches;
        return CKVRLdapConnection::Search(base, filter, attributes, scope);
    }

    int searches = 0;
};

/** A private server with the entries of entries.ldif and an anonymous connection to it. */
class ServerTest : public testing::Test
{
protected:
    explicit ServerTest(const std::vector<std::string>& moreOptions = {});

    /** Searches without attribute names unless some are given. */
    std::shared_ptr<IKVRLdapQuery> search(const std::string& base, const std::string& filter, alSCOPE scope,
                                          std::list<std::string> names = {});

    /** The only entry that a search of the base yields, with the attributes named. */
    std::shared_ptr<IKVRLdapEntity> read(const std::string& dn, const std::list<std::string>& names = {});

    /** DNs of a walk from the cursor's place to its end. */
    static std::vector<std::string> walk(IKVRLdapQuery& query);

    Support::PrivateSlapd server;
    LogCapture log;
    CKVRCore core;
    CountingConnection connection;
};

} // namespace KVR::ServerTests
