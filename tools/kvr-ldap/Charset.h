#pragma once

#include <optional>
#include <string>

namespace KVR::Cli
{

/**
 * The user's character set. Inside the program every text is UTF-8: arguments are converted when
 * they come in, text for the terminal when it goes out.
 */
class Charset
{
public:
    /** @param name a name that iconv_open(3) knows */
    explicit Charset(std::string name);

    /**
     * Takes the locale from the environment, and its character set. From then on the module works
     * in UTF-8, so that it hands over what the directory holds: a conversion inside the module
     * ends a whole search at the first value that the character set can't express.
     */
    static Charset OfEnvironment();

    const std::string& Name() const { return name_; }

    /** Text in UTF-8, or nothing when it is no text of this character set. */
    std::optional<std::string> ToUtf8(const std::string& text) const;

    /**
     * UTF-8 text in this character set. Punctuation that it lacks is replaced by similar signs, any
     * other character by "\u{43f}", so that different names stay different.
     */
    std::string FromUtf8(const std::string& text) const;

private:
    std::string name_;
    bool isUtf8_;
};

} // namespace KVR::Cli
