#include "PrivateSlapd.h"

#include <cstdlib>

namespace KVR::Support
{

namespace
{

std::vector<std::string> scriptWords(const std::vector<std::string>& options)
{
    std::vector<std::string> words{KVR_PRIVATE_SLAPD, "run",        "--backend",
                                   KVR_BACK_HDB,      "--database", KVR_DATABASE_TYPE};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

} // namespace

PrivateSlapd::PrivateSlapd(const std::vector<std::string>& options)
    : script_(scriptWords(options), "$KVR_TEST_LDAP_URI $KVR_TEST_LDAPS_URI")
{
    const std::size_t separator = script_.answer().find(' ');
    uri_ = script_.answer().substr(0, separator);
    ldapsUri_ = script_.answer().substr(separator + 1);
}

bool PrivateSlapd::isVersion24()
{
    const char* folder = std::getenv("KVR_TEST_OPENLDAP"); // NOLINT(concurrency-mt-unsafe): read only
    return folder != nullptr && *folder != '\0';
}

std::string PrivateSlapd::hostAndPort() const
{
    return uri_.substr(std::string("ldap://").size());
}

} // namespace KVR::Support
