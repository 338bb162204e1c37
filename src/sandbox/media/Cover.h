#pragma once

#include <cstdint>
#include <string>

namespace sandbox {

/// A square picture as a PNG file: a gradient with some discs, derived from `seed` and `name`, so that a
/// record's picture is the same at every size. Throws std::runtime_error if the encoder fails.
std::string coverPng(std::uint64_t seed, const std::string& name, int pixels);

} // namespace sandbox
