#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace kestrel {

// Returns whether the number stands for a case of the enumeration: the compiler spells such a value
// "Enumeration::word", and any other one "(Enumeration)3".
template <auto Value>
constexpr bool isCase()
{
    constexpr std::string_view name = __PRETTY_FUNCTION__, before = "Value = ";
    return name[name.find(before) + before.size()] != '(';
}

// Returns how many cases an enumeration has whose cases count from 0. Tables that are indexed with it assert
// that they have as many rows.
template <typename Enumeration, std::size_t From = 0>
constexpr std::size_t countCases()
{
    if constexpr (isCase<static_cast<Enumeration>(From)>())
        return countCases<Enumeration, From + 1>();
    else
        return From;
}
template <typename Enumeration>
inline constexpr std::size_t caseCount = countCases<Enumeration>();

// Returns all cases, in their order.
template <typename Enumeration>
constexpr std::array<Enumeration, caseCount<Enumeration>> everyCase()
{
    std::array<Enumeration, caseCount<Enumeration>> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i)
        cases[i] = static_cast<Enumeration>(i);
    return cases;
}

// Returns whether the table has a row for every case, in their order; `key` is the row's member that names
// its case.
template <typename Table, typename Row, typename Enumeration>
constexpr bool coversEveryCase(const Table &table, Enumeration Row::*key)
{
    for (std::size_t i = 0; i < table.size(); ++i)
        if (table[i].*key != static_cast<Enumeration>(i))
            return false;
    return table.size() == caseCount<Enumeration>;
}

} // namespace kestrel
