#pragma once

#include "LdapRequest.h"

#include <string>

namespace KVR::Support
{

// Messages as their bytes, for tests that vary how something is encoded, or damage it.

/** How the length of an element is written. */
enum class LengthForm
{
    Short,    /**< in as few bytes as possible */
    OneByte,  /**< behind 0x81, also where it would not need it; Short where one byte is too few */
    FourBytes /**< behind 0x84 */
};

/** A BER element. */
std::string element(unsigned char tag, const std::string& content, LengthForm form = LengthForm::Short);

/**
 * A BER element whose tag may have several bytes, and whose length has so many octets behind its first one,
 * or as many more as it needs; 0 is the shortest form.
 */
std::string element(const std::string& tag, const std::string& content, std::size_t octets);

/** What a search entry consists of: DN and attributes, without the entry's own tag and length. */
std::string entryContent(const std::string& dn, const Attributes& attributes,
                         LengthForm form = LengthForm::Short);

/** A message with an operation, which is an element. */
std::string operationMessage(int id, const std::string& operation);

/** A message with a search entry. @param behind controls, or whatever follows the entry */
std::string entryMessage(int id, const std::string& content, const std::string& behind = "");

/** A message with a result. */
std::string resultMessage(int id, unsigned long tag, int code);

} // namespace KVR::Support
