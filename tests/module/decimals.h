#pragma once

#include <limits>

/// Texts after the equals sign in a path, and the numbers that the module reads from them.
struct Decimal
{
    const char* text;
    int number;
};

inline constexpr Decimal decimals[] = {
    {"5", 5},
    {"007", 7},
    {"2147483647", 2147483647},
    {"-2147483648", std::numeric_limits<int>::min()},
    {"-5", -5},
    {"%2B5", 5},
    {"%205%20", 5},
    // Not decimal numbers of 32 bits.
    {"", 0},
    {"%20", 0},
    {"x", 0},
    {"5x", 0},
    {"0x10", 0},
    {"1.5", 0},
    {"1e3", 0},
    {"4294967297", 0},
    {"2147483648", 0},
    {"--5", 0},
    {"- 5", 0},
    {"5%200", 0},
    {"%EF%BC%95", 0},
    {"%D9%A5", 0},
};
