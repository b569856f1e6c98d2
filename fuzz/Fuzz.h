#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// What every fuzzer is made of: one function, to which the bytes are given, and checks of what must be true of any.
/// It returns 0, keeps nothing from one call to the next that changes an answer, and may be called very often.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program with what is not true: the fuzzer then keeps the bytes that led to it.
#define CHECK(...) ((__VA_ARGS__) ? void() : fuzz::fail(#__VA_ARGS__, __FILE__, __LINE__))

namespace fuzz {

[[noreturn]] inline void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: not true: %s\n", file, line, condition);
    std::abort();
}

inline std::string_view bytes(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Takes what stands before the separator off the front of the input; all of it where there is none.
inline std::string_view takePart(std::string_view& input, char separator) {
    const auto end = input.find(separator);
    const auto part = input.substr(0, end);
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    return part;
}

} // namespace fuzz
