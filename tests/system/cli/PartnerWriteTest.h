#pragma once

#include "WriteTest.h"

namespace KVR::CliTest
{

/** Commands that arrange what a server has to do with others. Every test has a server of its own. */
class CliPartner : public CliWrite
{
protected:
    static void SetUpTestSuite() {}

    void SetUp() override
    {
        server = std::make_unique<Support::PrivateSlapd>(std::vector<std::string>{"--entries", "3"});
    }

    void TearDown() override { server.reset(); }

    /** The command behind the options that tell who the host is. */
    static std::vector<std::string> asHost(std::vector<std::string> command)
    {
        for (const char* parameter : {"KVRD_USER=kvrd", "DOMAIN_DN=dc=example,dc=com", "REALM=EXAMPLE.COM",
                                      "KVR_DOMAIN_NAME=example.com", "KVR_HOST_NAME=srv2.example.com"})
        {
            command.insert(command.begin(), {"--param", parameter});
        }
        return command;
    }

    /** A run that must end like this and print nothing on standard output. */
    static void expectRefusal(const std::vector<std::string>& command, int status, const std::string& message,
                              const Setting& setting = {})
    {
        const Outcome outcome = run(command, setting);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, message);
    }

    /** Names that the server gives to the databases below an entry of the configuration. */
    static std::vector<std::string> databasesBelow(const std::string& parent)
    {
        const nlohmann::json answer =
            run({"search", parent, "(olcDatabase=*)", "--scope", "one", "--output", "json"}).json();
        std::vector<std::string> names;
        for (const auto& entry : answer.at("entries"))
        {
            names.push_back(entry.at("attributes").at("olcDatabase").at(0));
        }
        return names;
    }

    static constexpr const char* mainDatabase = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
    static constexpr const char* configDatabase = "olcDatabase={0}config,cn=config";
    static constexpr const char* chainOverlay = "olcOverlay={0}chain,olcDatabase={-1}frontend,cn=config";
};

} // namespace KVR::CliTest
