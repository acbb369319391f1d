#pragma once

#include "LdifReader.h"

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace KVR::Cli::Ldif
{

inline std::vector<Record> recordsOf(const std::string& text)
{
    std::istringstream input(text);
    Reader reader(input);
    std::vector<Record> records;
    for (Record record; reader.Next(record);)
    {
        records.push_back(record);
    }
    return records;
}

inline Record recordOf(const std::string& text)
{
    const std::vector<Record> records = recordsOf(text);
    if (records.size() != 1)
    {
        throw std::runtime_error("there are " + std::to_string(records.size()) + " records");
    }
    return records.front();
}

inline std::vector<std::string> attributesOf(const Record& record)
{
    std::vector<std::string> lines;
    for (const NamedValue& each : record.attributes)
    {
        lines.push_back(each.name + '=' + each.value);
    }
    return lines;
}

inline std::string objectionTo(const std::string& text)
{
    const Record record = recordOf(text);
    return record.objection ? std::to_string(record.objection->line) + ": " + record.objection->reason
                            : "none";
}

} // namespace KVR::Cli::Ldif
