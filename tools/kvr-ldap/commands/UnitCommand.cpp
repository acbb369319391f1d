#include "../Change.h"
#include "../Commands.h"
#include "../Lookup.h"

#include <IKVRLdapConnection.h>

#include <algorithm>

namespace KVR::Cli
{

namespace
{

constexpr const char* unitSign = "ou=";
constexpr const char* domainSign = "dc=";

bool beginsWith(const std::string& text, const std::string& sign)
{
    return text.compare(0, sign.size(), sign) == 0;
}

/** True for a quotation mark or a semicolon that is not escaped. */
bool hasOldSigns(const std::string& dn)
{
    for (std::size_t index = 0; index < dn.size(); ++index)
    {
        if (dn[index] == '"' || dn[index] == ';')
        {
            return true;
        }
        index += dn[index] == '\\' ? 1U : 0U;
    }
    return false;
}

/**
 * The units of a path. The plug-in finds them by the texts "ou=" and "dc=" alone, so a path is refused
 * in which it would find others than a directory does.
 */
class UnitPath
{
public:
    UnitPath(const Context& context, const std::string& path)
        : context_(context), path_(path), rdns_(RdnsOf(context.command, path))
    {
        if (hasOldSigns(path))
        {
            Refuse("a \";\" or a quotation mark in it is not escaped");
        }
        const auto domain = std::find_if(rdns_.begin(), rdns_.end(),
                                         [](const Rdn& each) { return beginsWith(each.text, domainSign); });
        domain_ = static_cast<std::size_t>(domain - rdns_.begin());
        std::for_each(rdns_.begin(), domain, [this](const Rdn& each) { Check(each); });
    }

    /** From the top down. */
    std::list<std::string> Units() const
    {
        std::list<std::string> units;
        std::string dn;
        for (std::size_t index = rdns_.size(); index-- > 0;)
        {
            const std::string& rdn = rdns_[index].text;
            dn.insert(0, rdn + (dn.empty() ? "" : ","));
            if (index < domain_ && beginsWith(rdn, unitSign))
            {
                units.push_back(dn);
            }
        }
        return units;
    }

private:
    [[noreturn]] void Refuse(const std::string& why) const
    {
        throw context_.UsageFailure("'" + path_ + "' can't be ensured: " + why,
                                    "a path is written ou=NAME,ou=NAME,dc=NAME,dc=NAME");
    }

    void Check(const Rdn& rdn)
    {
        const bool isUnit = beginsWith(rdn.text, unitSign);
        for (const char* sign : {unitSign, domainSign})
        {
            if (!beginsWith(rdn.text, sign) && beginsWith(rdn.key, sign))
            {
                Refuse("'" + rdn.text + "' is to begin with '" + sign + "'");
            }
            if (rdn.text.find(sign, isUnit ? 1 : 0) != std::string::npos)
            {
                Refuse(std::string("'") + sign + "' stands inside '" + rdn.text + "'");
            }
        }
        if (isUnit && std::count(rdn.key.begin(), rdn.key.end(), '\0') > 1)
        {
            Refuse("'" + rdn.text + "' has several parts");
        }
        if (inUnits_ && !isUnit)
        {
            Refuse("'" + rdn.text + "' stands between units and domain");
        }
        inUnits_ = inUnits_ || isUnit;
    }

    const Context& context_;
    std::string path_;
    Dn rdns_;
    std::size_t domain_ = 0; /**< where the domain begins */
    bool inUnits_ = false;
};

/** Those that are there, or are not. */
std::list<std::string> chosen(IKVRLdapConnection& connection, std::list<std::string> units, bool there)
{
    units.remove_if([&](const std::string& unit) { return EntryExists(connection, unit) != there; });
    return units;
}

void tellCreated(Context& context, const std::list<std::string>& created)
{
    for (const std::string& unit : created)
    {
        context.output.Line("created " + unit);
    }
    context.output.Member("created", created);
}

void tellHalf(Context& context, IKVRLdapConnection& connection, const std::list<std::string>& missing)
{
    try
    {
        tellCreated(context, chosen(connection, missing, true));
    }
    catch (const EKVRError&)
    {
        context.messages.Line(context.command + ": what was created before is unknown");
    }
}

void ensureUnits(Context& context, const std::string& argument)
{
    const std::string path = context.Dn(argument);
    const std::list<std::string> units = UnitPath(context, path).Units();
    IKVRLdapConnection& connection = context.session.Connection();
    const std::list<std::string> missing = chosen(connection, units, false);
    try
    {
        connection.EnsureOU(path);
    }
    catch (const EKVRError&)
    {
        // Described now: what is looked up next replaces the session's result code.
        const Failure failure = DescribeException(context.command, &connection, context.withPlace);
        tellHalf(context, connection, missing);
        throw Failure(failure);
    }
    const std::list<std::string> created = chosen(connection, missing, true);
    if (created.empty())
    {
        TellChange(context.output, {"unchanged", "dn", path});
    }
    else
    {
        context.output.Member("dn", path);
        context.output.Member("result", "created");
    }
    tellCreated(context, created);
}

} // namespace

void AddUnitCommand(CommandTable& table)
{
    const auto path = std::make_shared<std::string>();
    CLI::App& command = table.Add({"ensure-ou", "Create the organisational units of a DN that are missing",
                                   "  kvr-ldap ensure-ou ou=berlin,ou=offices,dc=example,dc=com\n"},
                                  LdifForm::None, [path](Context& context) { ensureUnits(context, *path); });
    AddArgument(command, "DN", *path, "units in front of a domain, as in ou=NAME,ou=NAME,dc=NAME").required();
}

} // namespace KVR::Cli
