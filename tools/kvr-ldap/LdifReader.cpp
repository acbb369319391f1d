#include "LdifReader.h"

#include "DistinguishedName.h"
#include "Text.h"

#include <strings.h>

#include <algorithm>

namespace KVR::Cli::Ldif
{

namespace
{

bool isLetter(char each)
{
    return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z');
}

bool isDigit(char each)
{
    return each >= '0' && each <= '9';
}

bool isKeyCharacter(char each)
{
    return isLetter(each) || isDigit(each) || each == '-';
}

bool areKeyCharacters(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isKeyCharacter);
}

bool isNumber(std::string_view text)
{
    return !text.empty() && (text.front() != '0' || text.size() == 1) &&
           std::all_of(text.begin(), text.end(), isDigit);
}

/** Pieces between separators, empty ones too. */
std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> pieces;
    for (;;)
    {
        const std::size_t end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
        {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

bool isAttributeType(std::string_view text)
{
    if (!text.empty() && isLetter(text.front()))
    {
        return areKeyCharacters(text);
    }
    const std::vector<std::string_view> numbers = split(text, '.');
    return std::all_of(numbers.begin(), numbers.end(), isNumber);
}

/** LDIF's own words may be written in any case. */
bool isWord(const std::string& text, const char* word)
{
    return strcasecmp(text.c_str(), word) == 0;
}

bool isNamed(const SourceLine& line, const char* name)
{
    return isWord(line.text.substr(0, line.text.find(':')), name);
}

std::string textOf(const Item& item)
{
    if (item.isUrl)
    {
        throw FormatError(item.line, "the value of '" + item.name + "' can't stand in a file of its own");
    }
    return item.value;
}

std::string dnOf(const Item& item)
{
    std::string text = textOf(item);
    if (text.find('\0') != std::string::npos || !IsUtf8(text))
    {
        throw FormatError(item.line, "the value of '" + item.name + "' is no UTF-8 text");
    }
    if (!ParseDn(text))
    {
        throw FormatError(item.line, Quoted(text) + " is no DN");
    }
    return text;
}

std::string attributeNameOf(std::size_t line, const std::string& text)
{
    if (!IsAttributeDescription(text))
    {
        throw FormatError(line, Quoted(text) + " is no attribute name");
    }
    return text;
}

void object(Record& record, std::size_t line, const std::string& reason, const std::string& advice = "")
{
    if (!record.objection)
    {
        record.objection = {line, reason, advice};
    }
}

Modification::Kind kindOf(Record& record, const Item& item)
{
    if (isWord(item.name, "add"))
    {
        return Modification::Kind::Add;
    }
    if (isWord(item.name, "delete"))
    {
        return Modification::Kind::Delete;
    }
    if (isWord(item.name, "increment"))
    {
        object(record, item.line, "the plug-in can't increment values");
    }
    else if (!isWord(item.name, "replace"))
    {
        throw FormatError(item.line, "here stands add, delete or replace, not " + Quoted(item.name));
    }
    return Modification::Kind::Replace;
}

} // namespace

bool Reader::Advance()
{
    inRecord_ = lines_.Next(line_) && !line_.text.empty();
    return inRecord_;
}

bool Reader::FirstLine()
{
    // A record ends at an empty line, or at the end, where one more line is asked for in vain.
    while (lines_.Next(line_))
    {
        if (!line_.text.empty())
        {
            return true;
        }
    }
    return false;
}

void Reader::ReadVersion()
{
    const Item version = ParseItem(line_);
    if (textOf(version) != "1")
    {
        throw FormatError(version.line, "LDIF has version 1, not " + Quoted(version.value));
    }
}

Item Reader::Take()
{
    Item item = ParseItem(line_);
    if (isWord(item.name, "dn"))
    {
        throw FormatError(item.line, "a second dn: there is no empty line before it");
    }
    Advance();
    return item;
}

bool Reader::Next(Record& record)
{
    record = Record();
    if (!FirstLine())
    {
        return false;
    }
    if (!begun_ && isNamed(line_, "version"))
    {
        ReadVersion();
        if (!Advance() && !FirstLine())
        {
            return false;
        }
    }
    begun_ = true;

    const Item dn = ParseItem(line_);
    if (!isWord(dn.name, "dn"))
    {
        throw FormatError(dn.line, "a record begins with its dn, not with " + Quoted(dn.name));
    }
    record.line = dn.line;
    record.dn = dnOf(dn);
    Advance();
    ReadControls(record);
    ReadBody(record);
    return true;
}

void Reader::ReadControls(Record& record)
{
    std::size_t control = 0;
    while (inRecord_ && isNamed(line_, "control"))
    {
        control = Take().line;
        object(record, control, "the plug-in can't send controls");
    }
    if (control != 0 && !(inRecord_ && isNamed(line_, "changetype")))
    {
        throw FormatError(control, "behind a control stands changetype");
    }
}

void Reader::ReadBody(Record& record)
{
    if (!inRecord_ || !isNamed(line_, "changetype"))
    {
        ReadAttributes(record);
        return;
    }
    const Item item = Take();
    const std::string type = textOf(item);
    if (isWord(type, "add"))
    {
        ReadAttributes(record);
    }
    else if (isWord(type, "modify"))
    {
        record.type = ChangeType::Modify;
        ReadModifications(record);
    }
    else if (isWord(type, "modrdn") || isWord(type, "moddn"))
    {
        record.type = ChangeType::Rename;
        ReadRename(record);
    }
    else if (isWord(type, "delete"))
    {
        record.type = ChangeType::Delete;
        RequireEnd("a delete record ends with its changetype");
    }
    else
    {
        throw FormatError(item.line, Quoted(type) + " is no changetype");
    }
}

NamedValue Reader::ValueOf(Record& record, const Item& item) const
{
    if (item.isUrl)
    {
        object(record, item.line, "values are not read from other files");
        return {item.name, "", item.line};
    }
    return {item.name, item.value, item.line};
}

void Reader::ReadAttributes(Record& record)
{
    while (inRecord_)
    {
        const Item item = Take();
        if (isWord(item.name, "changetype"))
        {
            throw FormatError(item.line, "changetype stands right behind the dn");
        }
        attributeNameOf(item.line, item.name);
        record.attributes.push_back(ValueOf(record, item));
    }
    if (record.attributes.empty())
    {
        throw FormatError(record.line, "the record adds an entry without attributes");
    }
}

void Reader::ReadModifications(Record& record)
{
    while (inRecord_)
    {
        record.modifications.push_back(ReadModification(record));
    }
}

Modification Reader::ReadModification(Record& record)
{
    const Item first = Take();
    Modification modification;
    modification.line = first.line;
    modification.kind = kindOf(record, first);
    modification.name = attributeNameOf(first.line, textOf(first));
    const std::string name = FoldedName(modification.name);
    while (inRecord_ && line_.text != "-")
    {
        const Item item = Take();
        if (FoldedName(item.name) != name)
        {
            throw FormatError(item.line, "here stands a value of '" + modification.name + "' or '-', not " +
                                             Quoted(item.name));
        }
        modification.values.push_back(ValueOf(record, item));
    }
    if (inRecord_)
    {
        Advance();
    }
    return modification;
}

Item Reader::TakeNamed(const Record& record, const char* name)
{
    if (!inRecord_)
    {
        throw FormatError(record.line, std::string("the record lacks ") + name);
    }
    Item item = Take();
    if (!isWord(item.name, name))
    {
        throw FormatError(item.line, std::string("here stands ") + name + ", not " + Quoted(item.name));
    }
    return item;
}

void Reader::ReadRename(Record& record)
{
    const Item newRdn = TakeNamed(record, "newrdn");
    record.newRdn = dnOf(newRdn);
    if (ParseDn(record.newRdn)->size() != 1)
    {
        throw FormatError(newRdn.line, Quoted(record.newRdn) + " is no RDN");
    }
    const Item deleteOldRdn = TakeNamed(record, "deleteoldrdn");
    const std::string choice = textOf(deleteOldRdn);
    if (choice == "0")
    {
        object(record, deleteOldRdn.line, "the plug-in's rename always removes the value of the old RDN",
               "write deleteoldrdn: 1 and add the value again by a modify record");
    }
    else if (choice != "1")
    {
        throw FormatError(deleteOldRdn.line, "deleteoldrdn is 0 or 1, not " + Quoted(choice));
    }
    if (inRecord_ && isNamed(line_, "newsuperior"))
    {
        const Item newSuperior = Take();
        dnOf(newSuperior);
        object(record, newSuperior.line, "the plug-in's rename can't move an entry");
    }
    RequireEnd("this is more than a rename has");
}

void Reader::RequireEnd(const char* reason) const
{
    if (inRecord_)
    {
        throw FormatError(line_.number, reason);
    }
}

bool IsAttributeDescription(std::string_view text)
{
    const std::vector<std::string_view> pieces = split(text, ';');
    return isAttributeType(pieces.front()) && std::all_of(pieces.begin() + 1, pieces.end(), areKeyCharacters);
}

std::string FoldedName(std::string_view description)
{
    std::string lower = LowerAscii(std::string(description));
    if (lower.find(';') == std::string::npos)
    {
        return lower;
    }
    std::vector<std::string_view> pieces = split(lower, ';');
    std::sort(pieces.begin() + 1, pieces.end());
    std::string folded;
    for (const std::string_view piece : pieces)
    {
        folded.append(folded.empty() ? "" : ";").append(piece);
    }
    return folded;
}

} // namespace KVR::Cli::Ldif
