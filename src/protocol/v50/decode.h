// The decoders behind mqtt50_*_decode() for a caller whose packets may be longer than those take:
// remaining_max is the greatest Remaining Length accepted. Arguments, results and log lines are
// those of the exported functions.
#pragma once

#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>

namespace zep::v50 {

int32_t decode_connack(const uint8_t *data, uint32_t length, uint32_t remaining_max,
                       mqtt50_connack *connack);
int32_t decode_publish(const uint8_t *data, uint32_t length, uint32_t remaining_max,
                       mqtt50_publish *publish);
int32_t decode_ack(uint8_t type, const uint8_t *data, uint32_t length, uint32_t remaining_max,
                   mqtt50_ack *ack);
int32_t decode_suback(const uint8_t *data, int32_t length, uint32_t remaining_max,
                      mqtt50_suback *suback);
int32_t decode_unsuback(const uint8_t *data, uint32_t length, uint32_t remaining_max,
                        mqtt50_ack *unsuback);

}  // namespace zep::v50
