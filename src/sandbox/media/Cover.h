#pragma once

#include <cstdint>
#include <string>

namespace sandbox {

/// A square picture as a PNG file: a gradient with some discs, which `seed` and `name` decide, so that one
/// record's picture is the same at every size. Throws std::runtime_error when the encoder fails.
std::string coverPng(std::uint64_t seed, const std::string& name, int pixels);

} // namespace sandbox
