/**
 * @file
 * The version of these headers. It is written here and nowhere else: the build, the library's file
 * name, the packages and zep_mqtt_sdk_version() take it from here.
 *
 * Part of the public interface; zep_mqtt_sdk.h includes it.
 */
#ifndef ZEP_MQTT_VERSION_H
#define ZEP_MQTT_VERSION_H

#define ZEP_MQTT_SDK_VERSION_MAJOR 3 /**< raised when a program may have to be changed */
#define ZEP_MQTT_SDK_VERSION_MINOR 1 /**< raised when something was added */
#define ZEP_MQTT_SDK_VERSION_PATCH 0 /**< raised when faults were mended */

/** One number to compare with: 3.1.0 is 30100. */
#define ZEP_MQTT_SDK_VERSION_NUMBER                                          \
    (ZEP_MQTT_SDK_VERSION_MAJOR * 10000 + ZEP_MQTT_SDK_VERSION_MINOR * 100 + \
     ZEP_MQTT_SDK_VERSION_PATCH)

/** The text, a literal: "3.1.0". */
#define ZEP_MQTT_SDK_VERSION                                                             \
    ZEP_MQTT_SDK_VERSION_EXPAND_(ZEP_MQTT_SDK_VERSION_MAJOR, ZEP_MQTT_SDK_VERSION_MINOR, \
                                 ZEP_MQTT_SDK_VERSION_PATCH)
#define ZEP_MQTT_SDK_VERSION_EXPAND_(major, minor, patch) \
    ZEP_MQTT_SDK_VERSION_TEXT_(major, minor, patch)
#define ZEP_MQTT_SDK_VERSION_TEXT_(major, minor, patch) #major "." #minor "." #patch

#endif
