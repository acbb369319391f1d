#pragma once

#include "BareClient.h"
#include "DataSets.h"
#include "LoadedModule.h"

#include <IKVRLdapEntity.h>
#include <IKVRLdapQuery.h>

#include <ldap.h>

#include <memory>
#include <string>

namespace KVR::Bench
{

/** One of the two sides of a comparison: searches, then walks over the result as often as asked. */
class Reader
{
public:
    virtual ~Reader() = default;

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /** Receives the whole result. @throws std::exception when it can't be had */
    virtual void Search(const DataSet& data) = 0;

    /** Reads every entry. @return how many */
    virtual std::size_t Walk() = 0;

protected:
    Reader() = default;
};

/**
 * The floor: what a program of libldap's classic calls does, that is ldap_get_dn(3), ldap_first_attribute(3)
 * and ldap_get_values_len(3) for each name, with all texts copied into one map.
 */
class BareReader : public Reader
{
public:
    BareReader() = default;

    void Search(const DataSet& data) override;
    std::size_t Walk() override;

private:
    void read(LDAPMessage* entry);

    BareClient client_;
    Result result_;
    std::string dn_;
    Attributes attributes_;
};

/** The module, loaded as a plug-in and used through its public interfaces. */
class ModuleReader : public Reader
{
public:
    /**
     * @param file the module's shared object
     * @param isFresh whether each entry gets an entity of its own
     */
    explicit ModuleReader(const std::string& file, bool isFresh = false);

    void Search(const DataSet& data) override;
    std::size_t Walk() override;

private:
    LoadedModule module_;
    std::shared_ptr<IKVRLdapConnection> connection_;
    std::shared_ptr<IKVRLdapQuery> query_;
    std::shared_ptr<IKVRLdapEntity> entity_;
    const bool isFresh_;
};

/** @param side "floor", "module", or "fresh" for the module with an entity for each entry */
std::unique_ptr<Reader> makeReader(const std::string& side, const std::string& moduleFile);

} // namespace KVR::Bench
