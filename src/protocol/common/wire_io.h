// The variable-byte integer over the bounded reader and writer, for the codecs of both versions.
#pragma once

#include <cstdint>

#include "core/byte_reader.h"
#include "core/byte_writer.h"

namespace zep {

// Reads the integer at the reader's place and moves past it, within the limits of
// decode_remaining_len(). When it is refused the reader fails and the result is false.
bool read_remaining_length(byte_reader &reader, uint32_t *value);

// Writes a value of at most MQTT_REMAINING_LEN_MAX.
void write_remaining_length(byte_writer &writer, uint32_t value);

}  // namespace zep
