#pragma once

#include <string>

namespace KVR::ServerTests
{

/**
 * Changes entries past the module, as another client of the same server would. Each call is a
 * session of its own.
 * @throws std::runtime_error with the library's text when the server refuses
 */
class DirectEditor
{
public:
    explicit DirectEditor(std::string uri);

    void replace(const std::string& dn, const std::string& attribute, const std::string& value) const;
    void remove(const std::string& dn) const;

private:
    std::string uri_;
};

} // namespace KVR::ServerTests
