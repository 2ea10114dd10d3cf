// The variable-byte integer (MQTT 3.1.1 §2.2.3): the Remaining Length, and in 5.0 the length of
// properties.
#pragma once

#include "core/byte_reader.h"

namespace zep {

enum class length_kind {
    whole,
    incomplete,  // the bytes end inside it
    refused      // more than four bytes, or a value above the limit
};

// Reads the integer at the reader's place and moves past it. value: the sum of what was looked at.
length_kind read_variable_length(byte_reader &reader, uint32_t limit, uint32_t *value);

// The same as the library takes it from a peer: up to three bytes, and the limit. When it is
// refused or incomplete the reader fails and the result is false.
bool read_accepted_length(byte_reader &reader, uint32_t limit, uint32_t *value);

// Bytes that a value takes, 1 to 4.
constexpr size_t variable_length_size(uint32_t value) {
    return value < 0x80 ? 1 : value < 0x4000 ? 2 : value < 0x20'0000 ? 3 : 4;
}

// Writes value in exactly its bytes.
void put_variable_length(uint8_t *to, uint32_t value);

}  // namespace zep
