#pragma once

#include <IKVRLdapEntity.h>

#include <list>
#include <map>
#include <string>

namespace KVR
{

class CKVRLdapConnection;
class CKVRReceivedEntry;

/** The entity of a CKVRLdapConnection, see IKVRLdapEntity. */
class CKVRLdapEntity : public IKVRLdapEntity
{
public:
    explicit CKVRLdapEntity(CKVRLdapConnection& owner);
    ~CKVRLdapEntity() override;

    std::string ValByAttr(const std::string& name, bool quiet) override;
    unsigned long ValsByAttr(const std::string& name, std::list<std::string>& values, bool quiet) override;
    void Clear() override;
    bool IsValid() override;
    void Create() override;
    void Delete() override;
    void Update(std::multimap<std::string, std::string>& changes, bool localOnly) override;
    void Rename(const std::string& newRdn) override;
    std::string creator() override;
    std::string modifier() override;
    std::string created() override;
    std::string modified() override;

    /**
     * Reads the stamps from the server; they stay as they are when the entry is gone.
     * @throws EKVRCheckError when the DN is empty
     */
    void InvalidateStamp();

    /**
     * Fills the entity as Clear and one insertion per value would, but with the elements and the texts that
     * it has. If it throws, what was filled so far stays.
     */
    void Fill(const CKVRReceivedEntry& received);

private:
    void requireDn() const;
    void applyChange(const std::string& key, const std::string& value);

    CKVRLdapConnection& connection;
    std::map<std::string, std::string> stamps;
};

} // namespace KVR
