#include "KVRLdapModifications.h"

#include "KVRLdapCommon.h"

#include <memory>

namespace KVR
{

CKVRModificationList::~CKVRModificationList()
{
    for (LDAPMod** modification = Data(); modification != nullptr && *modification != nullptr; ++modification)
    {
        std::default_delete<LDAPMod>()(*modification);
    }
}

void CKVRModificationList::Build(const Attributes& attributes, const ModeOf& modeOf, const Convert& convert)
{
    modifications_ = std::make_unique<LDAPMod*[]>(attributes.size() + 1);
    values_ = std::make_unique<char*[]>(2 * (attributes.size() + 1));
    texts_.reserve(attributes.size()); // never moved: values_ points into them
    LDAPMod** modification = modifications_.get();
    char** value = values_.get();
    for (auto pair = attributes.begin(); pair != attributes.end();)
    {
        const std::string& name = pair->first;
        const CKVRModificationMode mode = modeOf(name);
        auto record = std::make_unique<LDAPMod>();
        record->mod_op = mode.operation;
        record->mod_type = unchanged(name) + mode.typeOffset;
        record->mod_vals.modv_strvals = mode.withValues ? value : nullptr;
        *modification++ = record.release();
        do
        {
            if (mode.withValues)
            {
                // A conditional expression would copy an unconverted value twice.
                if (convert)
                {
                    texts_.push_back(convert(pair->second));
                }
                else
                {
                    texts_.push_back(pair->second);
                }
                *value++ = texts_.back().data();
            }
            ++pair;
        } while (pair != attributes.end() && pair->first == name);
        ++value; // the null behind the group
    }
}

} // namespace KVR
