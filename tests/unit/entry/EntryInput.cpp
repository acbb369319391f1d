#include "EntryInput.h"

#include "EntryBytes.h"

namespace KVR::Support
{

namespace
{

constexpr std::size_t headSize = 2;
constexpr std::uint32_t cutBit = 0x8000;

} // namespace

std::string inputOf(std::uint32_t setting, int code, const std::string& entry)
{
    const std::uint32_t head = (setting & ~cutBit) | (code != 0 ? cutBit : 0);
    return std::string{static_cast<char>(head & 0xff), static_cast<char>(head >> 8)} + entry;
}

std::string judgeInput(EntryReader& reader, const std::string& input)
{
    if (input.size() < headSize)
    {
        return "";
    }
    const std::uint32_t head = static_cast<unsigned char>(input[0]) |
                               static_cast<std::uint32_t>(static_cast<unsigned char>(input[1])) << 8;
    return reader.judge(followedBySound(input.substr(headSize), (head & cutBit) != 0 ? 4 : 0),
                        settingOf(head & ~cutBit));
}

EntryAnswer followedBySound(const std::string& entry, int code)
{
    EntryAnswer answer;
    answer.entries = {entry, entryContent("cn=b", {{"cn", {"b"}}})};
    answer.code = code;
    return answer;
}

} // namespace KVR::Support
