#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KVR
{

/**
 * A sequence of BER elements, read from front to back. liblber accepts a length that fits the rest of the
 * message; here it has to fit the element around it. After a call that returns false the sequence is of no
 * use.
 */
class CKVRElements
{
public:
    CKVRElements() = default;
    CKVRElements(const char* begin, const char* end) : at_(begin), end_(end) {}

    bool Empty() const { return at_ == end_; }
    const char* Begin() const { return at_; }
    std::string_view Bytes() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

    /**
     * Passes over the head of an element.
     * @return false for tags of several bytes, indefinite lengths, lengths that no number can hold, and a
     *         head that is cut
     */
    bool TakeHead(std::size_t& length)
    {
        constexpr unsigned severalBytes = 0x1f;
        constexpr unsigned lengthFollows = 0x80;
        constexpr std::size_t longest = sizeof(std::size_t); // as for liblber
        if (end_ - at_ < 2 || (byte(at_[0]) & severalBytes) == severalBytes)
        {
            return false;
        }
        length = byte(at_[1]);
        at_ += 2;
        if (length < lengthFollows)
        {
            return true;
        }
        std::size_t count = length - lengthFollows;
        if (count == 0 || count > longest || count > static_cast<std::size_t>(end_ - at_))
        {
            return false;
        }
        for (length = 0; count > 0; --count)
        {
            length = length << 8 | byte(*at_++);
        }
        return true;
    }

    /** Cuts off the first element. */
    bool Take(CKVRElements& contents)
    {
        std::size_t length = 0;
        if (!TakeHead(length) || length > static_cast<std::size_t>(end_ - at_))
        {
            return false;
        }
        contents = CKVRElements(at_, at_ + length);
        at_ += length;
        return true;
    }

    /** Cuts off the first element if it has this tag. */
    bool Take(unsigned char tag, CKVRElements& contents)
    {
        return !Empty() && byte(*at_) == tag && Take(contents);
    }

    /** Cuts off the first element and takes its contents up to the first zero byte. */
    bool TakeText(std::string_view& text)
    {
        CKVRElements contents;
        if (!Take(contents))
        {
            return false;
        }
        text = contents.Bytes();
        text = text.substr(0, text.find('\0'));
        return true;
    }

private:
    static unsigned byte(char character) { return static_cast<unsigned char>(character); }

    const char* at_ = nullptr;
    const char* end_ = nullptr;
};

/** Appends the text as an OCTET STRING; when memory runs out, nothing is appended. */
inline void AppendText(std::string& elements, std::string_view text)
{
    constexpr char octetString = 0x04;
    constexpr std::size_t shortLengths = 0x80;
    constexpr std::size_t head = 2 + sizeof(std::size_t);
    elements.reserve(elements.size() + head + text.size());
    elements += octetString;
    if (text.size() < shortLengths)
    {
        elements += static_cast<char>(text.size());
    }
    else
    {
        elements += static_cast<char>(shortLengths | sizeof(std::size_t));
        for (std::size_t bits = 8 * sizeof(std::size_t); bits > 0; bits -= 8)
        {
            elements += static_cast<char>(text.size() >> (bits - 8) & 0xff);
        }
    }
    elements += text;
}

} // namespace KVR
