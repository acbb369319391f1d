// Long series of random changes: after each of them the server holds what a model of it holds.

#include "ConfigTest.h"

#include <algorithm>
#include <array>
#include <random>

namespace KVR::ServerTests
{
namespace
{

using testing::UnorderedElementsAreArray;

constexpr int changes = 200;

class ModelTest : public ConfigTest
{
protected:
    static constexpr unsigned seed = 20240229;

    /** A number from 0 to the limit, which it never is. */
    int below(std::size_t limit)
    {
        return std::uniform_int_distribution<int>(0, static_cast<int>(limit) - 1)(random);
    }

    /** Two additions on average for each deletion. */
    bool deletes() { return below(3) == 0; }

    static std::string step(int number)
    {
        return "change " + std::to_string(number) + " of the seed " + std::to_string(seed);
    }

    std::mt19937 random{seed};
};

TEST_F(ModelTest, AccessRulesAreInTheOrderInWhichTheyWereInserted)
{
    const auto numbered = [](const std::vector<std::string>& texts)
    {
        std::vector<std::string> values;
        for (const std::string& text : texts)
        {
            values.push_back("{" + std::to_string(values.size()) + "}" + text);
        }
        return values;
    };
    std::vector<std::string> model{"to * by * manage"};
    for (int number = 0; number < changes; ++number)
    {
        SCOPED_TRACE(step(number));
        const std::string rule =
            "to dn.base=\"cn=" + std::to_string(number) + ",dc=example,dc=com\" by * read";
        if (!model.empty() && deletes())
        {
            const int at = below(model.size());
            connection.DeleteDBAccessRule(at);
            model.erase(model.begin() + at);
        }
        else if (below(3) == 0)
        {
            connection.AddDBAccessRule(-1, rule);
            model.push_back(rule);
        }
        else
        {
            const int at = below(model.size() + 1);
            connection.AddDBAccessRule(at, rule);
            model.insert(model.begin() + at, " " + rule);
        }
        ASSERT_EQ(rules(), numbered(model));
    }
}

TEST_F(ModelTest, IndexesAreThoseThatWereAddedAndNotDeleted)
{
    const std::array<const char*, 24> attributes{"cn",        "sn",         "mail",         "l",
                                                 "o",         "ou",         "st",           "street",
                                                 "title",     "member",     "uniqueMember", "memberUid",
                                                 "gidNumber", "uidNumber",  "info",         "host",
                                                 "dc",        "manager",    "givenName",    "initials",
                                                 "homePhone", "roomNumber", "secretary",    "description"};
    std::vector<std::string> model{"objectClass eq", "uid eq"};
    for (int number = 0; number < changes; ++number)
    {
        SCOPED_TRACE(step(number));
        const std::string index =
            std::string(attributes.at(static_cast<std::size_t>(below(attributes.size())))) + " eq";
        const auto found = std::find(model.begin(), model.end(), index);
        if (below(2) == 0)
        {
            connection.DeleteDBIndex(index);
            model.erase(found, found == model.end() ? found : found + 1);
        }
        else
        {
            connection.AddDBIndex(index);
            if (found == model.end())
            {
                model.push_back(index);
            }
        }
        ASSERT_THAT(indexes(), UnorderedElementsAreArray(model));
    }
}

TEST_F(ModelTest, LimitsAreThoseThatWereFirstGivenToTheirRequesters)
{
    using Limit = std::pair<std::string, std::string>;
    const auto numbered = [](const std::vector<Limit>& stored)
    {
        TextMap values;
        for (const auto& [who, limit] : stored)
        {
            values.emplace(who, "{" + std::to_string(values.size()) + "}" + who + " " + limit);
        }
        return values;
    };
    std::vector<Limit> model;
    for (int number = 0; number < changes; ++number)
    {
        SCOPED_TRACE(step(number));
        const std::string who =
            "dn.exact=\"uid=" + std::to_string(below(40)) + ",ou=people,dc=example,dc=com\"";
        const std::string limit = "size=" + std::to_string(number + 1);
        const auto found = std::find_if(model.begin(), model.end(),
                                        [&](const Limit& stored) { return stored.first == who; });
        if (below(2) == 0)
        {
            connection.DeleteDBLimit(who);
            model.erase(found, found == model.end() ? found : found + 1);
        }
        else
        {
            connection.AddDBLimit(who, limit);
            if (found == model.end())
            {
                model.emplace_back(who, limit);
            }
        }
        ASSERT_EQ(limits(), numbered(model));
    }
}

TEST_F(ModelTest, UniquenessRulesAreThoseThatWereAddedAndNotDeleted)
{
    std::vector<std::string> model;
    for (int number = 0; number < changes; ++number)
    {
        SCOPED_TRACE(step(number));
        const std::string uri = "ldap:///?uid?sub?(description=" + std::to_string(below(40)) + ")";
        const auto found = std::find(model.begin(), model.end(), uri);
        if (below(2) == 0)
        {
            connection.DeleteDBUniqueness(uri);
            model.erase(found, found == model.end() ? found : found + 1);
        }
        else
        {
            connection.AddDBUniqueness(uri);
            if (found == model.end())
            {
                model.push_back(uri);
            }
        }
        ASSERT_THAT(uniqueness(), UnorderedElementsAreArray(model));
    }
}

} // namespace
} // namespace KVR::ServerTests
