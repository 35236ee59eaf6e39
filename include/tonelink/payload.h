/**
 * @file
 * What a message says: its bits, the PIN and the Bluetooth address that pair two devices, and the
 * message that the next transmission sends.
 *
 * A message is a row of bytes, one per bit, each 0 or 1, bit 0 first; in every field the most
 * significant bit comes first. Packet type 1 is a message of 32 bits, packet type 2 of 48. A row to
 * compose into must be all zero: leading zeros of a field are not written.
 *
 * Pairing layout (the fifth and sixth octet of an address written A:B:C:D:E:F are E and F):
 *
 *     length   PIN          fifth octet   sixth octet
 *     32       bits 0-15    bits 16-23    bits 24-31
 *     48       bits 0-31    bits 32-39    bits 40-47
 *
 * Threads: all functions from any number of threads. A message is prepared as a whole: a start at
 * the same time sends it or the one before.
 */
#ifndef TONELINK_PAYLOAD_H
#define TONELINK_PAYLOAD_H

#include <stdint.h>

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Composing a row of bits -------------------------------------------------------------- */

/**
 * Writes one field from its last bit towards its first, until the rest of the value is zero.
 * @param bits    the row; null writes nothing
 * @param value   bits above the field's width are dropped
 * @param offset  first bit of the field
 * @param width   bits in the field; 0 or less writes nothing
 */
TONELINK_API void put(uint8_t *bits, uint32_t value, int32_t offset, int32_t width);

/**
 * Composes a pairing message, and logs its bits.
 * @param bits     a cleared row of at least `nbits` and at least 16 bytes; null is logged and
 * writes nothing
 * @param pin      a PIN wider than its field keeps its low bits
 * @param address  up to six hexadecimal numbers separated by colons, of 64 bits, of which the low 8
 *                 are sent; those that are missing count as 0. Null is logged and writes nothing
 * @param nbits    32 or 48. Any other length gets no PIN, and the two octets at bits 0 and 8
 */
TONELINK_API void format_msg(uint8_t *bits, int32_t pin, const char *address, int32_t nbits);

/**
 * Composes 48 bits from a text, and logs them. Bits 0-31: the codes of its first four characters,
 * each as a signed 8-bit number, as the digits of a number to base 100; bits 32-39 and 40-47: the
 * fifth and sixth of the hexadecimal numbers, separated by white space, that the text holds.
 * @param bits      a cleared row of at least 48 bytes; null is logged and writes nothing
 * @param pin_text  characters beyond a text's end count as 0; null is logged and writes nothing
 */
TONELINK_API void format_msg_pin(uint8_t *bits, const char *pin_text);

/**
 * Composes application data, byte i into bits 8i to 8i+7, and logs the bits. Packet type 1 holds 4
 * bytes, packet type 2 holds 6, others none. Further bytes are dropped; too few are logged, and the
 * rest of the message stays zero.
 * @param bits    a cleared row of at least 48 bytes. Where there is something to write, null is
 *                logged and writes nothing
 * @param data    `length` bytes; null likewise
 */
TONELINK_API void format_msgm(uint8_t *bits, const uint8_t *data, int32_t length,
                              int32_t packet_type);

/* ---- The message that is sent next -------------------------------------------------------- */

/**
 * Prepares a pairing message of 48 bits, which the type-taking starts send from now on: packet type
 * 2 all of it, packet type 1 its first 32 bits, the PIN.
 * @param address  as for format_msg(); null is logged and changes nothing
 */
TONELINK_API void set_pin_in_ultrasound(int32_t pin, const char *address);

/**
 * Prepares a message from a decimal PIN text, with or without two address bytes after it.
 *
 * With address bytes, packet types 1 and 2 get the pairing layout; without, the number fills the
 * whole message.
 * @param buffer        the text, `length` bytes without terminator, of which the last two are the
 *                      address bytes when `with_address` is not 0. Null is refused
 * @param packet_type   1, 2; any other type composes 16 bits: the number, or the address bytes
 * alone
 * @param pin_type      what the type-taking starts send from now on: 1 a fresh random PIN with the
 *                      machine's Bluetooth address, any other value the prepared message
 * @param length        1 to 19
 * @return 0, or -1: no buffer or no length (nothing changes); a length above 19 (`pin_type` is
 * taken); a number of 999 or less (`pin_type` is taken and the prepared message is all zero). Of a
 * number of 64 bits, the nearest of which stands for those beyond, the low 32 count, without sign
 */
TONELINK_API int32_t set_pin_Custom_in_ultrasound(const char *buffer, int32_t packet_type,
                                                  int32_t pin_type, int32_t length,
                                                  int32_t with_address);

/* ---- Pairing identity --------------------------------------------------------------------- */

/**
 * Draws a new PIN, 1000 to 9999. It depends on the second of the draw alone: anyone who knows the
 * time knows the PIN.
 */
TONELINK_API void Generate_Random_PIN(void);

/** The PIN drawn last, 5821 before the first draw. */
TONELINK_API int32_t Get_Random_PIN(void);

/**
 * The same as Get_Random_PIN(). A start draws a PIN only when it sends a random one: then this is
 * what the transmission sends. A prepared message (above) is sent without a draw, and this is still
 * the PIN drawn last, whatever the message says.
 */
TONELINK_API int32_t get_audio_pin(void);

/**
 * The Bluetooth address of this machine as text, "AA:BB:CC:DD:EE:FF", to be released with free();
 * null when the Bluetooth service does not tell, which is logged.
 */
TONELINK_API char *Get_TV_BD_Addr(void);

/** Name of a result code of the Bluetooth service; "NONE" for 0 and for unknown codes. Never null.
 */
TONELINK_API const char *convert_bt_error_to_string(int32_t code);

/** Keeps a value for the caller, 0 before the first call. Nothing else reads it. */
TONELINK_API void set_app_mode(int32_t mode);

/** The value of set_app_mode(). */
TONELINK_API int32_t get_app_mode(void);

#ifdef __cplusplus
}
#endif

#endif
