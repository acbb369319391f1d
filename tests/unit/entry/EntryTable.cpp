// Reads 200 small entries with each byte set to each value and cut after each byte, by the reference and by
// the module. Usage: entry-table SHARE NUMBER
// Of all these the program takes one in SHARE, beginning with number NUMBER.

#include "EntryGenerator.h"
#include "EntryInput.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <set>
#include <string>

using namespace KVR::Support;

namespace
{

constexpr std::size_t seedCount = 200;
constexpr std::size_t longestSeed = 80;
constexpr int byteValues = 256;

std::set<std::string> makeSeeds()
{
    std::set<std::string> seeds;
    EntryGenerator generator(11);
    for (int number = 0; seeds.size() < seedCount; ++number)
    {
        for (const std::string& entry : generator.answer(number % 4 == 0).entries)
        {
            if (entry.size() <= longestSeed && seeds.size() < seedCount)
            {
                seeds.insert(entry);
            }
        }
    }
    return seeds;
}

/** Judges one in so many of the inputs. */
class Table
{
public:
    Table(unsigned long share, unsigned long number) : share_(share), left_(number) {}

    void judge(const std::string& damaged)
    {
        if (left_-- > 0)
        {
            return;
        }
        left_ = share_ - 1;
        ++judged_;
        // The settings come in another order than the bytes.
        const auto setting = static_cast<std::uint32_t>(judged_ * 2654435761UL >> 8 & 0xffffff);
        const std::string wrong =
            reader_.judge(followedBySound(damaged, judged_ % 8 == 0 ? 4 : 0), settingOf(setting));
        if (!wrong.empty())
        {
            std::cerr << wrong << '\n';
            ++different_;
        }
    }

    unsigned long judged() const { return judged_; }
    unsigned long different() const { return different_; }

private:
    EntryReader reader_;
    const unsigned long share_;
    unsigned long left_;
    unsigned long judged_ = 0;
    unsigned long different_ = 0;
};

void judgeAll(Table& table, const std::string& seed)
{
    for (std::size_t at = 0; at < seed.size(); ++at)
    {
        table.judge(seed.substr(0, at));
        std::string damaged = seed;
        for (int value = 0; value < byteValues; ++value)
        {
            damaged[at] = static_cast<char>(value);
            table.judge(damaged);
        }
    }
}

} // namespace

int main(int count, char** arguments)
try
{
    if (count != 3)
    {
        std::cerr << "usage: entry-table SHARE NUMBER\n";
        return 2;
    }
    Table table(std::stoul(arguments[1]), std::stoul(arguments[2]));
    for (const std::string& seed : makeSeeds())
    {
        judgeAll(table, seed);
    }
    std::cout << table.judged() << " damaged entries, " << table.different() << " read differently\n";
    return table.different() == 0 && table.judged() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
catch (const std::exception& error)
{
    std::cerr << "entry-table: " << error.what() << '\n';
    return EXIT_FAILURE;
}
