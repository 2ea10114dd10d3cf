/**
 * @file
 * Status codes of the protocol, session, QoS, subscription and client layers, and their texts.
 *
 * 0 is success, every failure is negative. The network layers have codes of their own
 * (zep_mqtt/net/net_status.h) and the public interface another small set (zep_mqtt_sdk.h); the
 * three sets are never mixed.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CORE_STATUS_H
#define ZEP_MQTT_CORE_STATUS_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * The failure codes that have a text: name, value, text (UTF-8, part of the log output).
 * The enumeration below and mqtt_status_text() are both made from this one list.
 */
#define MQTT_STATUS_LIST(X)                                    \
    X(MQTT_ERR_PROPERTY_TOO_LONG, -70, "属性长度超限")         \
    X(MQTT_ERR_INVALID_PARAM, -101, "参数无效")                \
    X(MQTT_ERR_QOS_INVALID, -102, "QoS非法")                   \
    X(MQTT_ERR_NO_MEMORY, -103, "内存分配失败")                \
    X(MQTT_ERR_UTF8_INVALID, -104, "UTF8格式错误")             \
    X(MQTT_ERR_CACHE_NOT_FOUND, -105, "未找到缓存")            \
    X(MQTT_ERR_PACKET_ID_EXHAUSTED, -106, "Packet ID耗尽")     \
    X(MQTT_ERR_CACHE_FULL, -107, "缓存满")                     \
    X(MQTT_ERR_MSG_TIMEOUT, -108, "消息超时")                  \
    X(MQTT_ERR_VERSION_UNSUPPORTED, -109, "版本不支持")        \
    X(MQTT_ERR_NOT_SUPPORTED, -110, "功能未支持")              \
    X(MQTT_ERR_DUPLICATE, -111, "消息重复")                    \
    X(MQTT_ERR_TIMEOUT, -112, "操作超时")                      \
    X(MQTT_ERR_BUFFER_FULL, -114, "缓冲区满")                  \
    X(MQTT_ERR_MUTEX_CREATE, -115, "互斥锁创建失败")           \
    X(MQTT_ERR_INTERNAL, -116, "内部逻辑错误")                 \
    X(MQTT_ERR_BUFFER_TOO_SMALL, -117, "缓冲区不足")           \
    X(MQTT_ERR_ENCODE, -118, "报文编码失败")                   \
    X(MQTT_ERR_CLIENT_ID_INVALID, -119, "客户端ID非法")        \
    X(MQTT_ERR_MALFORMED, -120, "报文格式非法")                \
    X(MQTT_ERR_NO_PROPERTIES, -121, "无属性段")                \
    X(MQTT_ERR_PROPERTY_INVALID, -122, "属性长度非法/越界")    \
    X(MQTT_ERR_ROLE_UNSUPPORTED, -123, "角色不支持")           \
    X(MQTT_ERR_PACKET_TOO_LARGE, -124, "报文超过最大长度限制") \
    X(MQTT_ERR_REASON_CODE, -130, "MQTT5.0原因码非成功")       \
    X(MQTT_ERR_TOPIC_TOO_LONG, -201, "主题长度超限")           \
    X(MQTT_ERR_TOPIC_TOO_DEEP, -202, "主题层级超限")           \
    X(MQTT_ERR_WILDCARD_INVALID, -203, "通配符使用非法")       \
    X(MQTT_ERR_CONNECT_FAILED, -301, "连接失败")               \
    X(MQTT_ERR_CLIENT_BUSY, -302, "客户端忙")                  \
    X(MQTT_ERR_NOT_CONNECTED, -303, "客户端未连接")            \
    X(MQTT_ERR_CLIENT_CREATE, -305, "客户端创建失败")          \
    X(MQTT_ERR_CRYPTO, -401, "加密失败")

enum mqtt_status {
    MQTT_OK = 0,
#define MQTT_STATUS_ENUMERATOR(name, code, text) name = (code),
    MQTT_STATUS_LIST(MQTT_STATUS_ENUMERATOR)
#undef MQTT_STATUS_ENUMERATOR

    /* Codes without a text of their own. */
    MQTT_ERR_FAIL = -1,                    /**< a small helper failed */
    MQTT_ERR_BUSY = -8,                    /**< refused: another operation of this client runs */
    MQTT_ERR_CONNACK_MALFORMED = -80,      /**< 5.0 CONNACK too short or unreadable */
    MQTT_ERR_CONNACK_REASON_INVALID = -81, /**< 5.0 CONNACK reason code in 0x01 to 0x7F */
    MQTT_ERR_CLIENT_TIMEOUT = -304         /**< returned by no operation */
};

/**
 * The text of a failure code.
 *
 * @param code  any value
 * @return a constant text, never null, not to be released; "未知错误" for 0 and for every code that
 *         has no text of its own
 *
 * Threads: any.
 */
ZEP_MQTT_API const char *mqtt_status_text(int32_t code);

ZEP_MQTT_END_DECLS

#endif
