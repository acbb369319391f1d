#pragma once

#include "LdifReader.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KVR::Cli::Ldif
{

/** A record as one operation of the plug-in. */
struct PlannedChange
{
    std::size_t line = 0; /**< of the DN */
    std::string dn;
    ChangeType type = ChangeType::Add;

    /**
     * What AddDN or UpdateDN take, in the order in which it is sent; for UpdateDN with mode characters.
     * A list takes less room than the map that is passed.
     */
    std::vector<std::pair<std::string, std::string>> attributes;

    std::string newRdn;

    /** Why no operation does just what the record asks for. */
    std::optional<Objection> objection;
};

/**
 * The operation that does exactly what a record asks for. An add or modify request holds every
 * attribute under one spelling: names that differ in case are one attribute to the server.
 */
PlannedChange PlanChange(const Record& record);

} // namespace KVR::Cli::Ldif
