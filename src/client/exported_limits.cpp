// Ties the limits that the exported headers state to the library's own.
#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

#include "client/connection/client_state.h"
#include "core/limits.h"

namespace zep {

// Room for a text of so many bytes and its NUL.
template <uint32_t LONGEST, typename Field>
constexpr bool holds_text = sizeof(Field) == LONGEST + 1;

static_assert(MQTT_PACKET_ID_MIN == PACKET_ID_MIN && MQTT_PACKET_ID_MAX == PACKET_ID_MAX);
static_assert(sizeof mqtt_session::id_in_use == PACKET_ID_MAX + 1);
static_assert(sizeof client_state::awaited_ack == PACKET_ID_MAX + 1);

static_assert(MQTT_CLIENT_RX_BUFFER_SIZE == PACKET_MAX);
static_assert(sizeof g_mqtt_recv_buf == PACKET_MAX && sizeof receive_buffer::bytes == PACKET_MAX);
static_assert(MQTT_REMAINING_LEN_MAX_ACCEPTED == REMAINING_MAX);
static_assert(MQTT_PAYLOAD_MAX_LEN == PAYLOAD_MAX);
static_assert(MQTT_CLIENT_TX_BUFFER_SIZE == TRANSMIT_MAX && NET_DATAGRAM_MAX_SIZE == TRANSMIT_MAX);
static_assert(sizeof mqtt_client::tx_buf == TRANSMIT_MAX);

static_assert(MQTT_TOPIC_MAX_LEN == TOPIC_MAX && MQTT_UTF8_MAX_LEN == TOPIC_MAX);
static_assert(MQTT_CLIENT_TOPIC_MAX == TOPIC_MAX && MQTT_TOPIC_MAX_LEVELS == TOPIC_LEVELS_MAX);
static_assert(holds_text<TOPIC_MAX, decltype(mqtt_client::rx_topic)>);
static_assert(holds_text<TOPIC_MAX, decltype(mqtt50_publish::topic)>);
static_assert(holds_text<TOPIC_MAX, decltype(mqtt50_subscribe::topic)>);
static_assert(holds_text<TOPIC_MAX, decltype(mqtt50_unsubscribe::topic)>);
static_assert(holds_text<SHARE_GROUP_MAX, decltype(mqtt50_subscribe::share_group)>);

static_assert(holds_text<CLIENT_ID_MAX, decltype(mqtt_client_config::client_id)>);
static_assert(holds_text<CLIENT_ID_MAX, decltype(mqtt_packet_connect::client_id)>);
static_assert(holds_text<CLIENT_ID_MAX, decltype(mqtt50_connect::client_id)>);
static_assert(holds_text<CREDENTIAL_MAX, decltype(mqtt_client_config::username)>);
static_assert(holds_text<CREDENTIAL_MAX, decltype(mqtt_client_config::password)>);
static_assert(holds_text<WILL_TOPIC_MAX, decltype(mqtt_client_config::will_topic)>);
static_assert(sizeof mqtt_client_config::will_payload == WILL_PAYLOAD_MAX);

}  // namespace zep
