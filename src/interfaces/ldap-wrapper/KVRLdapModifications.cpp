#include "KVRLdapModifications.h"

#include <memory>

namespace KVR
{

CKVRModificationList::~CKVRModificationList()
{
    for (LDAPMod* modification : modifications_)
    {
        std::default_delete<LDAPMod>()(modification);
    }
}

void CKVRModificationList::Build(const Attributes& attributes, const ModeOf& modeOf, const Convert& convert)
{
    modifications_.resize(attributes.size() + 1, nullptr);
    values_.resize(2 * (attributes.size() + 1), nullptr);
    texts_.resize(attributes.size());
    auto modification = modifications_.begin();
    auto value = values_.begin();
    auto text = texts_.begin();
    for (auto pair = attributes.begin(); pair != attributes.end();)
    {
        const std::string& name = pair->first;
        const CKVRModificationMode mode = modeOf(name);
        auto record = std::make_unique<LDAPMod>();
        record->mod_op = mode.operation;
        // libldap takes names as char* and does not write to them.
        record->mod_type = const_cast<char*>(name.c_str()) + mode.typeOffset;
        record->mod_vals.modv_strvals = mode.withValues ? &*value : nullptr;
        *modification++ = record.release();
        for (; pair != attributes.end() && pair->first == name; ++pair)
        {
            if (mode.withValues)
            {
                *text = convert ? convert(pair->second) : pair->second;
                *value++ = (text++)->data();
            }
        }
        ++value; // the null behind the group
    }
}

} // namespace KVR
