// 5.0 properties, read by the letter (MQTT 5.0 §2.2.2).
#pragma once

#include <cstdint>

#include "core/byte_reader.h"
#include "protocol/strict/utf8.h"

namespace zep::strict {

// Reason codes that say what a broker did wrong (MQTT 5.0 §2.4).
enum reason : uint8_t {
    REASON_NONE = 0,
    REASON_MALFORMED_PACKET = 0x81,
    REASON_PROTOCOL_ERROR = 0x82,
    REASON_TOPIC_NAME_INVALID = 0x90,
    REASON_TOPIC_ALIAS_INVALID = 0x94,
};

struct property {
    uint8_t id = 0;
    uint32_t number = 0;  // of a number
    text_view text;       // of a text or of binary data
};

// Reads the property sections of packets of one type and tells what is wrong with them.
class property_reader {
 public:
    // Takes the section off the body.
    property_reader(byte_reader &body, uint32_t packet_type);

    // The next property; false at the end of the section or at the first fault.
    bool next(property &out);

    // REASON_NONE while all is well.
    uint8_t fault() const { return fault_; }

    // Reads on to the end.
    uint8_t check_all() {
        property unused;
        while (next(unused)) {
        }
        return fault_;
    }

 private:
    bool fail(uint8_t reason) {
        fault_ = reason;
        return false;
    }
    bool read_value(uint32_t kind, property &out);

    byte_reader section_;
    uint32_t packet_type_;
    uint64_t seen_ = 0;
    uint8_t fault_ = REASON_NONE;
};

// A variable byte integer of one to four bytes, in its shortest form (MQTT 5.0 §1.5.5).
bool read_variable_integer(byte_reader &reader, uint32_t &value);

}  // namespace zep::strict
