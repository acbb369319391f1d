#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace KVR::Support
{

/**
 * A script of dev/ that runs a command beside something that it has started, as
 * "private-slapd run -- COMMAND". It runs as long as this object lives, and ends as well when the
 * process dies in whatever way.
 */
class RunningScript
{
public:
    /**
     * @param words the script and its arguments, up to the "--"
     * @param answer what the shell makes of it is the answer, as in "$KVR_TEST_LDAP_URI"
     * @throws std::runtime_error when the script gives no answer; the reason is on standard error
     */
    RunningScript(std::vector<std::string> words, const std::string& answer);
    ~RunningScript();

    RunningScript(const RunningScript&) = delete;
    RunningScript& operator=(const RunningScript&) = delete;

    const std::string& answer() const { return answer_; }

    /** Ends the script before its time. */
    void stop();

private:
    std::string answer_;
    pid_t script_ = -1;
    int input_ = -1; /**< closing it ends the script */
};

} // namespace KVR::Support
