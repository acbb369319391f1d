#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace KVR::CliTest
{

/** How one run of a program went. */
struct Outcome
{
    int status = -1; /**< exit status, or 128 + N when signal N ended it */
    std::string out;
    std::string err;

    /** The output as one JSON document. @throws nlohmann::json::exception when it is none */
    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

/** What differs from an ordinary run. */
struct Setting
{
    /** Variables to set, or to take away. */
    std::map<std::string, std::optional<std::string>> environment;

    /** File that standard output goes to; "" closes it. */
    std::optional<std::string> output;

    /** Standard output is a pipe that nobody reads. */
    bool readerGone = false;

    /** What standard input holds. */
    std::string input;

    /** Standard descriptors (0 to 2) that are a terminal, and what the user types there. */
    std::set<int> terminals;
    std::string typed;
};

/** Setting of a user at a terminal, whose standard output goes elsewhere. */
Setting atTerminal(const std::string& typed);

/** A setting with one of the locales that the tests compile. */
Setting inLocale(const std::string& name);

/** Runs the command line, in a UTF-8 locale and without tickets, and waits for it. */
Outcome kvrLdap(const std::vector<std::string>& arguments, const Setting& setting = {});

/** Runs a bash script; $KVR_LDAP is the command line and $KVR_SANDBOX_TOOL is dev/sandbox. */
Outcome shell(const std::string& script, const Setting& setting = {});

} // namespace KVR::CliTest
