// Adds entries through the module, so that callgrind can count the instructions that building a
// modification list takes, and prints how many pairs of name and value they had altogether.
// bench/list-cost runs it and computes the figures.

#include "LoadedModule.h"
#include "People.h"

#include <kvr/KVRUtils.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

namespace
{

using namespace KVR;
using Bench::Attributes;

/** A number with leading zeros, so that texts of all numbers are of one length. */
std::string numbered(const std::string& text, unsigned number)
{
    return text + std::to_string(1000000 + number).substr(1);
}

/** An entry of ten pairs. The maps lack the pair that names the entry. */
Attributes person()
{
    return {{"objectClass", "inetOrgPerson"},
            {"uid", "user000001"},
            {"sn", "Schaefer"},
            {"displayName", "Schaefer, Juergen"},
            {"mail", "user000001@mail.example.com"},
            {"telephoneNumber", "+49 30 555 000001"},
            {"title", "Head of Department"},
            {"postalAddress", "Example Street 1 $ 10001 Berlin"},
            {"description", "Works in Research (Berlin), room 1 on floor 1"}};
}

/** 1,000 pairs of as many names: every language makes a name of its own of "description". */
Attributes manyNames()
{
    Attributes attributes{{"objectClass", "device"}};
    for (unsigned n = 0; n < 998; ++n)
    {
        attributes.emplace(numbered("description;lang-x", n), numbered("value with the number ", n));
    }
    return attributes;
}

/** 50,000 pairs, nearly all of one name. */
Attributes group()
{
    Attributes attributes{{"objectClass", "groupOfNames"}};
    for (unsigned n = 0; n < 49998; ++n)
    {
        attributes.emplace("member", Bench::personDn(numbered("user", n)));
    }
    return attributes;
}

/** Adds entries one after the other, and deletes each at once. @return pairs of all of them */
std::size_t addEntries(IKVRLdapConnection& connection, Attributes attributes, unsigned entries)
{
    const std::string suffix = Bench::serverVariable("KVR_TEST_LDAP_SUFFIX");
    std::size_t pairs = 0;
    for (unsigned n = 0; n < entries; ++n)
    {
        const std::string name = numbered("list", n);
        const std::string dn = std::string("cn=").append(name).append(",").append(suffix);
        const auto naming = attributes.emplace("cn", name);
        connection.AddDN(dn, attributes);
        pairs += attributes.size();
        attributes.erase(naming);
        connection.DeleteDN(dn);
    }
    return pairs;
}

} // namespace

int main(int count, char** arguments)
{
    const std::map<std::string, Attributes (*)()> kinds{
        {"person", person}, {"names", manyNames}, {"group", group}};
    std::string kind;
    unsigned entries = 1;
    bool convert = false;
    CLI::App app("Adds entries through the module, as a subject for callgrind.", "list-building");
    app.add_option("kind", kind, "what the entries are like")->required()->check(CLI::IsMember(&kinds));
    app.add_option("--entries", entries, "how many to add")->capture_default_str();
    app.add_flag("--convert", convert, "let every value be converted to UTF-8");
    CLI11_PARSE(app, count, arguments);
    try
    {
        SetDefaultCodeset("ISO-8859-1"); // that of the locale "C"
        if (std::setlocale(LC_ALL, convert ? "C" : "C.UTF-8") == nullptr)
        {
            throw std::runtime_error("no locale C.UTF-8");
        }
        Bench::LoadedModule module(KVR_MODULE_FILE);
        std::cout << addEntries(*module.connect(), kinds.at(kind)(), entries) << std::endl;
        return EXIT_SUCCESS;
    }
    catch (const std::exception& error)
    {
        std::cerr << "list-building: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
