#include "Readers.h"

#include <list>
#include <stdexcept>

namespace KVR::Bench
{

namespace
{

struct Release
{
    void operator()(char* text) const { ldap_memfree(text); }
    void operator()(berval** values) const { ldap_value_free_len(values); }
    void operator()(BerElement* cursor) const { ber_free(cursor, 0); }
};

using Text = std::unique_ptr<char, Release>;
using Values = std::unique_ptr<berval*, Release>;
using Cursor = std::unique_ptr<BerElement, Release>;

} // namespace

void BareReader::Search(const DataSet& data)
{
    result_.reset();
    result_ = client_.search(data.base, data.baseOnly ? LDAP_SCOPE_BASE : LDAP_SCOPE_SUBTREE, data.filter);
}

std::size_t BareReader::Walk()
{
    std::size_t entries = 0;
    LDAP* const session = client_.session();
    for (LDAPMessage* entry = ldap_first_entry(session, result_.get()); entry != nullptr;
         entry = ldap_next_entry(session, entry))
    {
        read(entry);
        ++entries;
    }
    return entries;
}

void BareReader::read(LDAPMessage* entry)
{
    LDAP* const session = client_.session();
    attributes_.clear();
    dn_ = Text(ldap_get_dn(session, entry)).get();

    BerElement* rawCursor = nullptr;
    Text name(ldap_first_attribute(session, entry, &rawCursor));
    const Cursor cursor(rawCursor);
    while (name)
    {
        const Values values(ldap_get_values_len(session, entry, name.get()));
        for (berval** value = values.get(); *value != nullptr; ++value)
        {
            attributes_.emplace(name.get(), (*value)->bv_val);
        }
        name.reset(ldap_next_attribute(session, entry, cursor.get()));
    }
}

ModuleReader::ModuleReader(const std::string& file, bool isFresh)
    : module_(file), connection_(module_.connect()), isFresh_(isFresh)
{
}

void ModuleReader::Search(const DataSet& data)
{
    std::list<std::string> allAttributes;
    query_.reset();
    query_ = connection_->Search(data.base, data.filter, allAttributes,
                                 data.baseOnly ? alSCOPE_BASE : alSCOPE_SUB);
    if (!query_)
    {
        throw std::runtime_error("there is no entry " + data.base);
    }
}

std::size_t ModuleReader::Walk()
{
    std::size_t entries = 0;
    query_->First();
    while (query_->Fetch(entity_))
    {
        ++entries;
        if (isFresh_)
        {
            entity_.reset();
        }
    }
    return entries;
}

std::unique_ptr<Reader> makeReader(const std::string& side, const std::string& moduleFile)
{
    if (side == "module" || side == "fresh")
    {
        return std::make_unique<ModuleReader>(moduleFile, side == "fresh");
    }
    if (side == "floor")
    {
        return std::make_unique<BareReader>();
    }
    throw std::invalid_argument("no side '" + side + "'");
}

} // namespace KVR::Bench
