#pragma once

#include <ldap.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace KVR
{

/** What a name of an attribute map asks for. */
struct CKVRModificationMode
{
    int operation = LDAP_MOD_REPLACE;
    bool withValues = true;     /**< false sends no list of values at all */
    std::size_t typeOffset = 0; /**< where the attribute type begins in the name */
};

/**
 * The null-terminated list of modifications that ldap_add_ext_s(3) and ldap_modify_ext_s(3) take,
 * built from an attribute map.
 *
 * Pairs of equal names that follow each other become one modification with several values. The
 * arrays are sized once from the number of pairs; names point into the map, which must outlive the
 * list and stay as it is. Build fills the list once.
 */
class CKVRModificationList
{
public:
    using Attributes = std::multimap<std::string, std::string>;

    using ModeOf = std::function<CKVRModificationMode(const std::string& name)>;
    using Convert = std::function<std::string(const std::string& value)>;

    CKVRModificationList() = default;
    ~CKVRModificationList();

    CKVRModificationList(const CKVRModificationList&) = delete;
    CKVRModificationList& operator=(const CKVRModificationList&) = delete;

    /**
     * @param modeOf asked once for each group of equal names
     * @param convert empty copies the values unchanged
     */
    void Build(const Attributes& attributes, const ModeOf& modeOf, const Convert& convert);

    /** The list once it is built, valid as long as this object. */
    LDAPMod** Data() { return modifications_.get(); }

private:
    std::unique_ptr<LDAPMod*[]> modifications_; /**< owned records, null behind the last */
    std::unique_ptr<char*[]> values_;           /**< pointers to texts_, null behind each group */
    std::vector<std::string> texts_;
};

} // namespace KVR
