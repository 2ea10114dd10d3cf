/**
 * @file
 * Linkage and visibility of everything that the library exports.
 *
 * The library is compiled with hidden visibility: only what carries ZEP_MQTT_API, and stands in
 * src/zep_mqtt_sdk.exports, can be linked against.
 *
 * Part of the public interface; zep_mqtt_sdk.h includes it.
 */
#ifndef ZEP_MQTT_EXPORT_H
#define ZEP_MQTT_EXPORT_H

/* A program that links the static library on Windows defines ZEP_MQTT_STATIC; its CMake target
 * does. */
#if defined(_WIN32) && defined(ZEP_MQTT_STATIC)
#define ZEP_MQTT_API
#elif defined(_WIN32) && defined(ZEP_MQTT_BUILDING_LIBRARY)
#define ZEP_MQTT_API __declspec(dllexport)
#elif defined(_WIN32)
#define ZEP_MQTT_API __declspec(dllimport)
#else
#define ZEP_MQTT_API __attribute__((visibility("default")))
#endif

/** Lets the compiler check a printf-style call: format at argument f, first value at a. */
#if defined(__MINGW32__) && !defined(__clang__)
#define ZEP_MQTT_PRINTF(f, a) __attribute__((format(gnu_printf, f, a)))
#elif defined(__GNUC__)
#define ZEP_MQTT_PRINTF(f, a) __attribute__((format(printf, f, a)))
#else
#define ZEP_MQTT_PRINTF(f, a)
#endif

#ifdef __cplusplus
#define ZEP_MQTT_BEGIN_DECLS extern "C" {
#define ZEP_MQTT_END_DECLS }
#else
#define ZEP_MQTT_BEGIN_DECLS
#define ZEP_MQTT_END_DECLS
#endif

#endif
