#pragma once

#include "LdifLines.h"

#include <optional>
#include <string>
#include <vector>

namespace KVR::Cli::Ldif
{

enum class ChangeType
{
    Add,
    Modify,
    Rename,
    Delete
};

/** A reason not to apply a record, and the line that it is about. */
struct Objection
{
    std::size_t line = 0;
    std::string reason;
    std::string advice; /**< may be empty */
};

/** One value with its attribute's name as the file spells it. */
struct NamedValue
{
    std::string name;
    std::string value;
    std::size_t line = 0;
};

/** One change of a modify record. */
struct Modification
{
    enum class Kind
    {
        Add,
        Delete,
        Replace
    };

    Kind kind = Kind::Add;
    std::string name;
    std::size_t line = 0;
    std::vector<NamedValue> values;
};

/** One record; only the part of its own type is filled. */
struct Record
{
    std::size_t line = 0; /**< of the DN */
    std::string dn;
    ChangeType type = ChangeType::Add;
    std::vector<NamedValue> attributes;
    std::vector<Modification> modifications;
    std::string newRdn;

    /** The first thing in it that is LDIF, but that the plug-in has no operation for. */
    std::optional<Objection> objection;
};

/**
 * Records of an LDIF file (RFC 2849), one after the other. More is accepted than the standard asks
 * for: UTF-8 outside base64, a byte order mark, and a last change without its "-".
 */
class Reader
{
public:
    /** @param input must outlive the reader */
    explicit Reader(std::istream& input) : lines_(input) {}

    /** @return false at the end. @throws FormatError */
    bool Next(Record& record);

private:
    bool FirstLine();
    void ReadVersion();
    bool Advance();
    Item Take();
    void ReadControls(Record& record);
    void ReadBody(Record& record);
    void ReadAttributes(Record& record);
    void ReadModifications(Record& record);
    Modification ReadModification(Record& record);
    void ReadRename(Record& record);
    Item TakeNamed(const Record& record, const char* name);
    void RequireEnd(const char* reason) const;
    NamedValue ValueOf(Record& record, const Item& item) const;

    LineReader lines_;
    SourceLine line_; /**< the next line of the record */
    bool inRecord_ = false;
    bool begun_ = false;
};

/** True for an attribute description (RFC 4512, section 2.5). */
bool IsAttributeDescription(std::string_view text);

/** An attribute description that is the same for all spellings: lower case, options in order. */
std::string FoldedName(std::string_view description);

} // namespace KVR::Cli::Ldif
