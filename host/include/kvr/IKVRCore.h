#pragma once

#include <kvr/KVRExport.h>

#include <list>
#include <memory>
#include <string>

namespace KVR
{

class CKVRInterface;

/**
 * The host object that every module gets.
 *
 * Modules call its operations by their position in the virtual table, so no operation may be
 * added, removed or moved; reserved ones keep the positions of operations that modules do not
 * call, and throw EKVRInternalError. A virtual destructor would take two positions: the object is
 * owned by the host and never destroyed through this type.
 */
class KVR_API IKVRCore
{
public:
    virtual void Reserved00();

    /**
     * [slot 1] DNS name of the domain that this installation serves; "" when it is unknown, and then
     * nothing keeps modules from deleting that domain's database.
     */
    virtual const std::string& GetDomainName() = 0;

    /** [slot 2] Host name of the domain's server, usable behind "ldap://". */
    virtual const std::string& GetServerHost() = 0;

    /** [slot 3] This computer's host name. */
    virtual const std::string& GetHostName() = 0;

    virtual void Reserved04();
    virtual void Reserved05();
    virtual void Reserved06();
    virtual void Reserved07();
    virtual void Reserved08();
    virtual void Reserved09();
    virtual void Reserved10();
    virtual void Reserved11();
    virtual void Reserved12();
    virtual void Reserved13();
    virtual void Reserved14();
    virtual void Reserved15();
    virtual void Reserved16();
    virtual void Reserved17();
    virtual void Reserved18();
    virtual void Reserved19();
    virtual void Reserved20();
    virtual void Reserved21();
    virtual void Reserved22();
    virtual void Reserved23();
    virtual void Reserved24();
    virtual void Reserved25();
    virtual void Reserved26();
    virtual void Reserved27();
    virtual void Reserved28();
    virtual void Reserved29();
    virtual void Reserved30();
    virtual void Reserved31();
    virtual void Reserved32();
    virtual void Reserved33();
    virtual void Reserved34();
    virtual void Reserved35();
    virtual void Reserved36();

    /** [slot 37] Takes a reference to the object; a second one of the same name replaces the first. */
    virtual void RegisterInterface(std::shared_ptr<CKVRInterface> object) = 0;

    virtual void Reserved38();

    /** [slot 39] Drops the reference to the named object; an unknown name is no error. */
    virtual void UnregisterInterface(const std::string& name) = 0;

    virtual void Reserved40();
    virtual void Reserved41();
    virtual void Reserved42();
    virtual void Reserved43();
    virtual void Reserved44();
    virtual void Reserved45();
    virtual void Reserved46();
    virtual void Reserved47();
    virtual void Reserved48();
    virtual void Reserved49();

    /** [slot 50] Defaults for binding to a server. */
    virtual std::string GetBindDefaults() = 0;

    virtual void Reserved51();
    virtual void Reserved52();
    virtual void Reserved53();
    virtual void Reserved54();
    virtual void Reserved55();
    virtual void Reserved56();
    virtual void Reserved57();
    virtual void Reserved58();
    virtual void Reserved59();
    virtual void Reserved60();
    virtual void Reserved61();
    virtual void Reserved62();
    virtual void Reserved63();
    virtual void Reserved64();
    virtual void Reserved65();
    virtual void Reserved66();
    virtual void Reserved67();
    virtual void Reserved68();

    /** [slot 69] Value of a parameter, "" when it is unknown. */
    virtual std::string GetParameter(const std::string& name) = 0;

    /** [slot 70] True when the parameter has a value, be it a default. */
    virtual bool HasParameter(const std::string& name) = 0;

    /** [slot 71] Declares a parameter with its default; a value that was set stays. */
    virtual void DefineParameter(const std::string& name, const std::string& defaultValue) = 0;

    virtual void Reserved72();
    virtual void Reserved73();
    virtual void Reserved74();
    virtual void Reserved75();
    virtual void Reserved76();
    virtual void Reserved77();

    /**
     * [slot 78] True when the text matches the pattern, a POSIX extended regular expression (regex(7)).
     * @param groups when not null, the match and its groups are appended
     * @param flags 0, or 1 to ignore case
     * @throws EKVRCheckError when the pattern is invalid
     */
    virtual bool MatchRegex(const std::string& pattern, const std::string& text,
                            std::list<std::string>* groups, int flags) = 0;

protected:
    IKVRCore() = default;
    ~IKVRCore() = default;
    IKVRCore(const IKVRCore&) = default;
    IKVRCore& operator=(const IKVRCore&) = default;
};

} // namespace KVR
