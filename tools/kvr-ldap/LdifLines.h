#pragma once

#include <cstddef>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace KVR::Cli::Ldif
{

/** What is wrong with a file, and on which line. */
class FormatError : public std::runtime_error
{
public:
    FormatError(std::size_t number, const std::string& what) : std::runtime_error(what), line(number) {}

    std::size_t line; /**< counted from 1 */
};

/** A line as it was before it was folded. */
struct SourceLine
{
    std::size_t number = 0; /**< of its first line in the file */
    std::string text;       /**< empty between records */
};

/** The pieces of a line "name: value". */
struct Item
{
    std::size_t line = 0;
    std::string name;
    std::string value; /**< decoded; of a value in a file, its URL */
    bool isUrl = false;
};

/** Lines of a file, unfolded and without comments. Line ends are LF or CR LF. */
class LineReader
{
public:
    /** @param input must outlive the reader */
    explicit LineReader(std::istream& input);

    /** @return false at the end. @throws FormatError */
    bool Next(SourceLine& line);

private:
    void Advance();

    std::istream& input_;
    std::string next_; /**< read already, not yet given out */
    std::size_t number_ = 0;
    bool hasNext_ = false;
};

/**
 * Splits a line. A value after one colon is UTF-8 text, base64 may stand for any bytes.
 * @throws FormatError
 */
Item ParseItem(const SourceLine& line);

/** The text and "\u{43f}" for what a terminal would act on, in quotation marks, cut when it is long. */
std::string Quoted(std::string_view text);

} // namespace KVR::Cli::Ldif
