#pragma once

#include <LdapResponder.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace KVR
{

inline std::string quoted(const std::vector<std::string>& values)
{
    std::string text;
    for (const std::string& value : values)
    {
        text += " '" + value + "'";
    }
    return text;
}

/**
 * A request in words: "search BASE scope N FILTER for NAMES", "modify DN CODE NAME 'VALUE'",
 * "add DN NAME 'VALUE'" or "delete DN".
 */
inline std::string described(const Support::LdapRequest& request)
{
    using Operation = Support::Operation;
    std::string text;
    switch (request.operation)
    {
    case Operation::Search:
        text = "search " + request.dn + " scope " + std::to_string(request.search.scope) + " " +
               request.search.filter + " for";
        for (const std::string& name : request.search.attributes)
        {
            text += " " + name;
        }
        return text;
    case Operation::Modify:
        text = "modify " + request.dn;
        for (const auto& modification : request.modifications)
        {
            text += " " + std::to_string(modification.code) + " " + modification.name +
                    quoted(modification.values);
        }
        return text;
    case Operation::Add:
        text = "add " + request.dn;
        for (const auto& attribute : request.attributes)
        {
            text += " " + attribute.name + quoted(attribute.values);
        }
        return text;
    default:
        EXPECT_EQ(Operation::Delete, request.operation);
        return "delete " + request.dn;
    }
}

} // namespace KVR
