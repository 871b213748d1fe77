// Host stand-in for libcutils' system property calls. Same signatures and the same parsing rules
// as on a device; the values live in an in-process store instead of the property service.
#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

// Copies the value of `key` into `value` (at most PROPERTY_VALUE_MAX bytes with the terminator)
// and returns its length. An unset or empty property yields `default_value` (or "" when null).
int property_get(const char* key, char* value, const char* default_value);

// "1", "y", "yes", "on", "true" are true; "0", "n", "no", "off", "false" are false; anything
// else, or an unset property, gives `default_value`.
int8_t property_get_bool(const char* key, int8_t default_value);

// The value parsed as an integer in base 0 (decimal, 0x hex, 0 octal; trailing text ignored).
// An unset property, a value with no leading number, or one out of range gives `default_value`.
int64_t property_get_int64(const char* key, int64_t default_value);
int32_t property_get_int32(const char* key, int32_t default_value);

// Sets `key` to `value`. Returns 0, or -1 for a null key or a value of PROPERTY_VALUE_MAX bytes
// or more. An empty value unsets the property.
int property_set(const char* key, const char* value);

#ifdef __cplusplus
}
#endif
