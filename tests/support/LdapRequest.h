#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace KVR::Support
{

/** Kinds of request (RFC 4511, section 4). */
enum class Operation
{
    Bind,
    Unbind,
    Search,
    Modify,
    Add,
    Delete,
    ModifyDn,
    Compare,
    Abandon,
    Extended
};

/** An attribute description with its values, all counted bytes. */
struct Attribute
{
    std::string name;
    std::vector<std::string> values;
};

using Attributes = std::vector<Attribute>;

/** One element of a modify request; the code is one of LDAP_MOD_ADD, _DELETE and _REPLACE. */
struct Modification
{
    int code = 0;
    std::string name;
    std::vector<std::string> values;
};

/** One request as it came over the wire; only the part of its own operation is filled. */
struct LdapRequest
{
    struct Bind
    {
        int version = 0;
        bool simple = false;
        std::string mechanism; /**< of a SASL bind */
        std::string credentials;
    };

    struct Search
    {
        int scope = 0;
        int dereference = 0;
        int sizeLimit = 0;
        int timeLimit = 0;
        bool typesOnly = false;
        std::string filter; /**< as RFC 4515 writes it */
        std::vector<std::string> attributes;
    };

    struct ModifyDn
    {
        std::string newRdn;
        bool deleteOldRdn = false;
        std::optional<std::string> newSuperior;
    };

    Operation operation = Operation::Unbind;
    int messageId = 0;
    int connection = 0; /**< connections are numbered from 1 */
    std::string dn;     /**< of the entry or the search base; the name of a bind */
    bool hasControls = false;

    Bind bind;
    Search search;
    std::vector<Modification> modifications;
    Attributes attributes; /**< of an add request; of a compare request its assertion */
    ModifyDn modifyDn;
    int abandonedId = 0;
    std::string extendedName;
};

bool operator==(const Attribute& left, const Attribute& right);
bool operator==(const Modification& left, const Modification& right);

std::ostream& operator<<(std::ostream& stream, Operation operation);
std::ostream& operator<<(std::ostream& stream, const Attribute& attribute);
std::ostream& operator<<(std::ostream& stream, const Modification& modification);
std::ostream& operator<<(std::ostream& stream, const LdapRequest& request);

/** Length of the message at the front of the bytes, 0 as long as it is not complete. */
std::size_t completeMessageLength(const std::string& bytes);

/**
 * Decodes one whole message.
 * @throws std::runtime_error when it is no LDAP request
 */
LdapRequest decodeRequest(const std::string& message);

} // namespace KVR::Support
