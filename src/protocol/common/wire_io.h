// The variable-byte integer over the bounded reader and writer, for the codecs of both versions.
#pragma once

#include <cstdint>

#include <zep_mqtt/protocol/v311/wire.h>

#include "core/byte_reader.h"
#include "core/byte_writer.h"

namespace zep {

// Reads the integer at the reader's place, of at most three bytes, and moves past it. When it is
// refused the reader fails and the result is false.
bool read_remaining_length(byte_reader &reader, uint32_t *value,
                           uint32_t greatest = MQTT_REMAINING_LEN_MAX_ACCEPTED);

// Writes a value of at most MQTT_REMAINING_LEN_MAX.
void write_remaining_length(byte_writer &writer, uint32_t value);

}  // namespace zep
