#include "ExpectedTree.h"

#include <algorithm>

namespace KVR::Cli
{

ExpectedTree::ExpectedTree() : root_(nodes_.emplace_back())
{
    root_.presentRdn = "";
}

ExpectedTree::Node& ExpectedTree::Make(Node& parent, const std::string& key)
{
    Node& node = nodes_.emplace_back();
    node.parent = &parent;
    parent.children[key] = &node;
    return node;
}

ExpectedTree::Node& ExpectedTree::Find(const Dn& dn)
{
    Node* node = &root_;
    for (auto rdn = dn.rbegin(); rdn != dn.rend(); ++rdn)
    {
        const auto known = node->children.find(rdn->key);
        if (known != node->children.end())
        {
            node = known->second;
            continue;
        }
        node = &Make(*node, rdn->key);
        node->presentRdn = rdn->text;
    }
    return *node;
}

void ExpectedTree::Add(const Dn& dn)
{
    if (dn.empty())
    {
        return;
    }
    Node& parent = Find(Dn(dn.begin() + 1, dn.end()));
    Make(parent, dn.front().key).state = State::There;
}

void ExpectedTree::Delete(const Dn& dn)
{
    if (dn.empty())
    {
        return;
    }
    Node& parent = Find(Dn(dn.begin() + 1, dn.end()));
    Make(parent, dn.front().key).state = State::Gone;
}

void ExpectedTree::Rename(const Dn& dn, const Rdn& newRdn)
{
    if (dn.empty() || dn.front().key == newRdn.key)
    {
        return;
    }
    Node& node = Find(dn);
    node.state = State::There;
    Node& parent = *node.parent;
    parent.children[newRdn.key] = &node;
    Make(parent, dn.front().key).state = State::Gone;
}

std::optional<std::string> ExpectedTree::PresentName(const Dn& dn)
{
    std::string name;
    for (const Node* node = &Find(dn); node != &root_; node = node->parent)
    {
        if (!node->presentRdn)
        {
            return std::nullopt;
        }
        name.append(name.empty() ? "" : ",").append(*node->presentRdn);
    }
    return name;
}

bool ExpectedTree::HasChildren(const Dn& dn, const std::vector<std::string>& presentChildren)
{
    const Node& node = Find(dn);
    const auto isThere = [](const auto& child) { return child.second->state == State::There; };
    if (std::any_of(node.children.begin(), node.children.end(), isThere))
    {
        return true;
    }
    const auto stays = [&node](const std::string& key)
    {
        const auto known = node.children.find(key);
        return known == node.children.end() || known->second->state == State::AsOnServer;
    };
    return std::any_of(presentChildren.begin(), presentChildren.end(), stays);
}

} // namespace KVR::Cli
