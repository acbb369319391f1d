#pragma once

#include "PrivateSlapd.h"
#include "RunProgram.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace KVR::CliTest
{

/** Commands that write to a server, which all tests of a suite share. */
class CliWrite : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        server = std::make_unique<Support::PrivateSlapd>(std::vector<std::string>{"--entries", "3"});
    }

    static void TearDownTestSuite() { server.reset(); }

    static Outcome runOn(const Support::PrivateSlapd& on, std::vector<std::string> arguments,
                         const Setting& setting = {})
    {
        arguments.insert(arguments.begin(), {"--uri", on.uri()});
        return kvrLdap(arguments, setting);
    }

    static Outcome run(const std::vector<std::string>& arguments, const Setting& setting = {})
    {
        return runOn(*server, arguments, setting);
    }

    /** A run that has to succeed without a message; its document. */
    static nlohmann::json document(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--output", "json"});
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.json();
    }

    /** A run that has to succeed with this line and no message. */
    static void expectLine(const std::vector<std::string>& arguments, const std::string& line,
                           const Setting& setting = {})
    {
        const Outcome outcome = run(arguments, setting);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.out, line + '\n');
    }

    static bool exists(const std::string& dn) { return run({"show", dn}).status == 0; }

    /** Values that the entry has now, read by a search. */
    static std::vector<std::string> values(const std::string& dn, const std::string& attribute)
    {
        const nlohmann::json entries =
            run({"search", dn, "(objectClass=*)", attribute, "--scope", "base", "--output", "json"})
                .json()
                .at("entries");
        const nlohmann::json attributes = entries.at(0).at("attributes");
        return attributes.count(attribute) == 0 ? std::vector<std::string>()
                                                : attributes.at(attribute).get<std::vector<std::string>>();
    }

    static void addUnit(const std::string& name, const std::string& parent = "dc=example,dc=com")
    {
        ASSERT_EQ(
            run({"add", "ou=" + name + ',' + parent, "objectClass=organizationalUnit", "ou=" + name}).status,
            0);
    }

    static void addPerson(const std::string& name, const std::string& parent = "dc=example,dc=com")
    {
        ASSERT_EQ(run({"add", "cn=" + name + ',' + parent, "objectClass=inetOrgPerson", "cn=" + name, "sn=s"})
                      .status,
                  0);
    }

    static inline std::unique_ptr<Support::PrivateSlapd> server;
};

} // namespace KVR::CliTest
