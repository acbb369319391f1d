#pragma once

#include "WriteTest.h"

#include <set>
#include <string>
#include <vector>

namespace KVR
{

/** A request as EnsureTest::sent tells it. */
inline std::string searchOf(const std::string& base, const std::string& filter)
{
    return "search '" + base + "' scope 1 (&(objectClass=organizationalUnit)" + filter + ") for *";
}

inline std::string creationOf(const std::string& dn, const std::string& name)
{
    return "add '" + dn + "' objectClass top organizationalUnit ou " + name;
}

/** A server whose units are known by the searches that find them. */
class EnsureTest : public WriteTest
{
protected:
    void SetUp() override
    {
        WriteTest::SetUp();
        responder.handle(Operation::Search,
                         [this](const LdapRequest& request)
                         {
                             Answer answer;
                             if (present.count(request.dn + " " + request.search.filter) != 0)
                             {
                                 answer.entry("ou=found," + request.dn);
                             }
                             return answer;
                         });
    }

    /** Lets the server have a unit. */
    void has(const std::string& base, const std::string& filter)
    {
        present.insert(base + " (&(objectClass=organizationalUnit)" + filter + ")");
    }

    Caught ensuring(const std::string& path)
    {
        return caught([&] { connection.EnsureOU(path); });
    }

    /** The requests so far, as texts. */
    std::vector<std::string> sent() const
    {
        std::vector<std::string> texts;
        for (const LdapRequest& request : responder.requests())
        {
            std::string text = request.operation == Operation::Search ? "search" : "add";
            text += " '" + request.dn + "'";
            if (request.operation == Operation::Search)
            {
                text +=
                    " scope " + std::to_string(request.search.scope) + " " + request.search.filter + " for";
                for (const std::string& name : request.search.attributes)
                {
                    text += " " + name;
                }
            }
            for (const Attribute& attribute : request.attributes)
            {
                text += " " + attribute.name;
                for (const std::string& value : attribute.values)
                {
                    text += " " + value;
                }
            }
            texts.push_back(text);
        }
        return texts;
    }

    /** The requests that making sure of this path sends. */
    std::vector<std::string> sentFor(const std::string& path)
    {
        responder.clear();
        EXPECT_EQ(Caught(), ensuring(path)) << path;
        return sent();
    }

    std::set<std::string> present;
};

} // namespace KVR
