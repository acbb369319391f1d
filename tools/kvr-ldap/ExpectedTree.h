#pragma once

#include "DistinguishedName.h"

#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace KVR::Cli
{

/**
 * The directory as it will be after changes that are not made yet, as far as they tell: the server
 * knows the rest. Every change is expected to succeed. A rename keeps an entry below its parent.
 */
class ExpectedTree
{
public:
    ExpectedTree();

    ExpectedTree(const ExpectedTree&) = delete;
    ExpectedTree& operator=(const ExpectedTree&) = delete;

    void Add(const Dn& dn);
    void Delete(const Dn& dn);
    void Rename(const Dn& dn, const Rdn& newRdn);

    /** The name that the server still has for an entry; nothing when the changes made the entry. */
    std::optional<std::string> PresentName(const Dn& dn);

    /** @param presentChildren keys of the RDNs of the children that the server shows */
    bool HasChildren(const Dn& dn, const std::vector<std::string>& presentChildren);

private:
    enum class State
    {
        AsOnServer, /**< there if the server has it under the same RDN */
        There,
        Gone
    };

    struct Node
    {
        State state = State::AsOnServer;
        std::optional<std::string> presentRdn; /**< its RDN on the server, if it can be there */
        Node* parent = nullptr;
        std::unordered_map<std::string, Node*> children;
    };

    Node& Find(const Dn& dn);
    Node& Make(Node& parent, const std::string& key);

    std::deque<Node> nodes_; /**< a DN may be very deep, so no node owns another */
    Node& root_;
};

} // namespace KVR::Cli
