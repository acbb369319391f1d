#include "ValueShapes.h"

#include <cstddef>

namespace KVR::ServerTests
{

namespace
{

using namespace std::string_literals;

std::string repeated(const std::string& text, std::size_t times)
{
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i)
    {
        result += text;
    }
    return result;
}

/** The characters U+00A0 to U+00FF. */
std::string upperLatin1()
{
    std::string text;
    for (int character = 0xA0; character <= 0xFF; ++character)
    {
        text += static_cast<char>(0xC0 | (character >> 6));
        text += static_cast<char>(0x80 | (character & 0x3F));
    }
    return text;
}

/** Every byte value, in order and then backwards. */
std::string allBytes()
{
    std::string bytes;
    for (int byte = 0; byte < 512; ++byte)
    {
        bytes += static_cast<char>(byte < 256 ? byte : 511 - byte);
    }
    return bytes;
}

ValueShape manyValues(const std::string& name, int number)
{
    ValueShape shape{name, {}};
    for (int i = 0; i < number; ++i)
    {
        shape.pairs.emplace_back("description", "value " + std::to_string(i * 7919 % number));
    }
    return shape;
}

/** A self-signed certificate: slapd looks into what it gets as one. */
std::string certificate()
{
    const std::string hex =
        "3082012c3081dfa0030201020214610d99007d0e674462d76b7d37bdbdab7ae981bc300506032b6570300c310a300806"
        "035504030c0161301e170d3236313132313037343435395a170d3336313131383037343435395a300c310a3008060355"
        "04030c0161302a300506032b65700321007fabc2a1b693d1f8aacdb73bc25ab7e5ca85c8f15584f0b3e363078da66082"
        "e4a3533051301d0603551d0e04160414273f8cf42d75156609f0365d36e4e77d3af448d3301f0603551d230418301680"
        "14273f8cf42d75156609f0365d36e4e77d3af448d3300f0603551d130101ff040530030101ff300506032b6570034100"
        "a579449f87710e653ac545d5d04dd8d5844897de68d92f4004c1c3f766942965f488415634fba726319812ef2dbc3da1"
        "97341fffffd87016b2f937608cb30c08";
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
    {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

void append(std::vector<ValueShape>& shapes, const std::vector<ValueShape>& more)
{
    shapes.insert(shapes.end(), more.begin(), more.end());
}

/** What values can look like in ASCII. */
std::vector<ValueShape> plainShapes()
{
    return {
        {"one value", {{"description", "a value"}}},
        {"one character", {{"description", "x"}}},
        {"values in no order", {{"description", "m"}, {"description", "z"}, {"description", "a"}}},
        {"two attributes", {{"description", "d"}, {"description", "e"}, {"l", "here"}}},
        {"blanks inside", {{"description", "a  b   c"}}},
        {"blanks in front", {{"description", "   a"}}},
        {"blanks at the end", {{"description", "a   "}}},
        {"a blank alone", {{"description", " "}}},
        {"a tab", {{"description", "a\tb\t"}}},
        {"newlines", {{"description", "a\nb\n"}}},
        {"carriage returns", {{"description", "a\r\nb\r\n"}}},
        {"control characters", {{"description", "\x01\x02\x1b[0m\x7f"}}},
        {"the mode characters in front",
         {{"description", "+x"}, {"description", "-x"}, {"description", "!x"}, {"description", "=x"}}},
        {"a mode character alone", {{"description", "!"}, {"description", "="}}},
        {"percent signs", {{"description", "100%s %n %d %%"}}},
        {"backslashes", {{"description", "C:\\new\\table\\"}, {"description", "\\2c\\00"}}},
        {"quotes", {{"description", "\"a\" 'b' `c`"}}},
        {"JSON", {{"description", R"({"a": [1, "b\n", null], "c": {}})"}}},
        {"LDIF", {{"description", ": a"}, {"description", "< file:///a"}, {"description", "dn: cn=a"}}},
        {"an access rule", {{"description", "{0}to * by * read"}}},
        {"the specials of names", {{"description", "a,b+c\"d\\e<f>g;h=i#j"}}},
        {"the specials of filters", {{"description", "(|(a=*)(b~=c))"}}},
        {"words that mean nothing", {{"description", "NULL"}, {"description", "0"}, {"description", "-0"}}},
        {"64 KB", {{"description", repeated("0123456789abcdef", 4096)}}},
        {"1 MB", {{"description", repeated("0123456789abcdef", 65536)}}},
        manyValues("1000 values", 1000),
        manyValues("10000 values", 10000),
    };
}

std::vector<ValueShape> unicodeShapes()
{
    return {
        {"umlauts", {{"cn", "Jürgen Groß"}, {"cn", "Ärger"}}},
        {"all letters of Latin-1", {{"description", upperLatin1()}}},
        {"Latin-1 among ASCII", {{"description", "50 £ ± ½ °C"}, {"description", "naïve café"}}},
        {"half a MB of umlauts", {{"description", repeated("ü", 262144)}}},
        {"Latin Extended", {{"description", "Łódź Şişli Ĳ ſ"}}},
        {"Cyrillic", {{"description", "Ольга Смирнова"}}},
        {"Greek", {{"description", "Ἀθῆναι"}}},
        {"right to left", {{"description", "שלום"}, {"description", "مرحبا ٤٢"}}},
        {"Devanagari", {{"description", "नमस्ते"}}},
        {"Chinese and Japanese", {{"description", "漢字かな交じり文"}}},
        {"Korean", {{"description", "한글"}}},
        {"the euro sign", {{"description", "100 €"}}},
        {"plane 1", {{"description", "😀 𝄞 𐍈"}}},
        {"plane 2", {{"description", "𠀀𪛖"}}},
        {"plane 3", {{"description", "\U00030000"}}},
        {"plane 14", {{"description", "\U000E0100"}}},
        {"plane 15", {{"description", "\U000F0000"}}},
        {"plane 16", {{"description", "\U0010FFFD"}}},
        {"combining marks", {{"description", "e\u0301 n\u0303 o\u0308\u0323"}}},
        {"joined emoji", {{"description", "👩\u200D🚀"}}},
        {"a byte order mark", {{"description", "\uFEFFa"}}},
        {"a private character", {{"description", "\uE000"}}},
        {"the replacement character", {{"description", "\uFFFD"}}},
        {"the last characters of one, two and three bytes", {{"description", "\x7f\u07FF\uFFFF"}}},
    };
}

/** What syntaxes and options ask for. */
std::vector<ValueShape> syntaxShapes()
{
    return {
        {"a language option", {{"cn;lang-de", "Jürgen"}, {"description;lang-de", "Gruß"}}},
        {"several language options", {{"cn;lang-de", "Tür"}, {"cn;lang-en", "door"}}},
        {"a boolean", {{"shapeBoolean", "TRUE"}, {"shapeBoolean", "FALSE"}}},
        {"integers", {{"shapeInteger", "0"}, {"shapeInteger", "-1"}, {"shapeInteger", "2147483648"}}},
        {"a long integer", {{"shapeInteger", "-123456789012345678901234567890"}}},
        {"a single integer", {{"uidNumber", "4294967295"}}},
        {"times",
         {{"shapeTime", "20240229235959Z"},
          {"shapeTime", "20240229235959.123456Z"},
          {"shapeTime", "202402292359+0200"}}},
        {"names", {{"member", "cn=a,dc=example,dc=com"}, {"member", "cn=Sales\\2C North,dc=x"}}},
        {"a postal address", {{"postalAddress", "12 Main St.$Any\\24town \\5C$USA"}}},
        {"telephone numbers", {{"telephoneNumber", "+49 30 123-456 7"}, {"telephoneNumber", "110"}}},
        {"mail addresses", {{"mail", "a+b@example.com"}, {"mail", "\"a b\"@example.com"}}},
        {"an address of the web", {{"labeledURI", "https://example.com/?a=%20&b=c#d the label"}}},
        {"a numeric text", {{"x121Address", "123 456"}}},
        {"a printable text", {{"serialNumber", "A-1 (2)/3:4?"}}},
        {"bits", {{"x500UniqueIdentifier", "'0101'B"}, {"x500UniqueIdentifier", "''B"}}},
        {"an object identifier", {{"supportedApplicationContext", "1.2.840.113556.1.4.319"}}},
        {"a delivery method", {{"preferredDeliveryMethod", "mhs $ telephone"}}},
        {"a unique identifier", {{"shapeUuid", "597ae2f6-16a6-1027-98f4-d28b5365dc14"}}},
        {"a hashed password", {{"userPassword", "{SSHA}DkMTwBl+a/3DQTxCYEApdUtNXGgdUac3"}}},
        {"case that counts", {{"shapeText", "Value"}, {"shapeText", "value"}, {"shapeText", "VALUE"}}},
        {"a single value", {{"shapeOne", "the only one"}}},
    };
}

} // namespace

std::vector<ValueShape> textShapes()
{
    std::vector<ValueShape> shapes = plainShapes();
    append(shapes, unicodeShapes());
    append(shapes, syntaxShapes());
    return shapes;
}

std::vector<ValueShape> binaryShapes()
{
    return {
        {"a zero byte", {{"shapeOctets", "\0"s}}},
        {"zero bytes around text", {{"shapeOctets", "\0a\0b\0"s}}},
        {"a zero byte in text", {{"description", "before\0after"s}}},
        {"high bytes", {{"shapeOctets", "\xff\xfe\x80\xc0"}}},
        {"half a character", {{"shapeOctets", "\xc3"}}},
        {"every byte", {{"shapeOctets", allBytes()}}},
        {"a picture", {{"jpegPhoto", "\xff\xd8\xff\xe0\0\x10JFIF\0"s}}},
        {"a sound", {{"audio", "RIFF\0\0\0\x80"s}}},
        {"a password of any bytes", {{"userPassword", "\xe4\0\xff"s}}},
        {"a certificate", {{"userCertificate;binary", certificate()}}},
        {"a pair of certificates", {{"crossCertificatePair;binary", "\x30\x03\x02\x01\x05"}}},
        {"3 MB", {{"jpegPhoto", repeated(allBytes(), 6144)}}},
    };
}

std::vector<ValueShape> duplicateShapes()
{
    return {
        {"the same value twice", {{"description", "a"}, {"description", "a"}}},
        {"case", {{"description", "Value"}, {"description", "vaLue"}}},
        {"case beyond ASCII", {{"description", "Ärger"}, {"description", "äRGER"}}},
        {"blanks", {{"description", "a b"}, {"description", " a   b "}}},
        {"hyphens of telephone numbers", {{"telephoneNumber", "1-2 3"}, {"telephoneNumber", "123"}}},
        {"composed and decomposed", {{"description", "\u00e9"}, {"description", "e\u0301"}}},
        {"two ways to write a name", {{"member", "cn=a,dc=x"}, {"member", "CN=A, DC=X"}}},
    };
}

} // namespace KVR::ServerTests
