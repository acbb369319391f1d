#pragma once

#include "WriteTest.h"

namespace KVR::CliTest
{

inline const std::string mainDatabase = KVR_MAIN_DATABASE;
inline const std::string mainDatabaseDn = "olcDatabase=" KVR_MAIN_DATABASE ",cn=config";
inline const std::string configurationDn = "olcDatabase={0}config,cn=config";
inline const std::string latin1 = "de_DE.ISO-8859-1";

/** Commands about the server's configuration; every test undoes what it changes. */
class CliConfig : public CliWrite
{
protected:
    /** A run that has to fail; nothing but the message is printed. */
    static void expectFailure(const std::vector<std::string>& arguments, int status,
                              const std::string& message, const Setting& setting = {})
    {
        const Outcome outcome = run(arguments, setting);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, message);
        EXPECT_EQ(outcome.out, "");
    }

    /** What a command of this name says in JSON, with these members. */
    static nlohmann::json answer(const std::string& command, nlohmann::json members)
    {
        members["schemaVersion"] = 1;
        members["command"] = command;
        return members;
    }

    /** What the server keeps, by a way that does not use the command. */
    static std::vector<std::string> stored(const std::string& attribute)
    {
        return values(mainDatabaseDn, attribute);
    }
};

} // namespace KVR::CliTest
