#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace KVR::Cli
{

/**
 * Length in bytes of the character at the front of the text, 0 when it is no UTF-8 (RFC 3629).
 * @param point receives the character's code point
 */
std::size_t FirstCharacter(std::string_view text, char32_t& point);

bool IsUtf8(std::string_view text);

/** The text with the letters A to Z in lower case. */
std::string LowerAscii(std::string text);

/** RFC 4648, section 4; unwrapped. */
std::string Base64(std::string_view bytes);

/** Reads it back: nothing but the alphabet, padding at the end only, and no stray bits. */
std::optional<std::string> FromBase64(std::string_view text);

/** "\u{9b}" */
std::string EscapedCharacter(char32_t point);

/** "\x1b" */
std::string EscapedByte(char byte);

/**
 * The text without anything that acts on a terminal: control and direction characters and bytes
 * that are no UTF-8 are shown as "\x1b" or "\u{9b}". Other characters stay, the backslash too.
 */
std::string Printable(std::string_view text);

/** Printable on one line: line ends and tabs become blanks. */
std::string OneLine(std::string_view text);

/** "20240131120000Z" as "2024-01-31 12:00:00 UTC"; any other form as it is. */
std::string LegibleTime(const std::string& generalizedTime);

} // namespace KVR::Cli
