/* Business calls: connection, device, IC cards, card information and logs, error texts.
 *
 * Results. 0 is success unless a call says otherwise; failures are negative. Public codes are
 * -1000 to -1014 for connection and device, -40xx and -41xx for IC cards; BO_GetErrInfo gives their
 * texts. A few calls return a positive number when the reader gave a status it does not document;
 * treat everything but 0 as failure. A missing pointer where one is needed gives -1007 before
 * anything is sent, unless a call says otherwise.
 *
 * Texts. Card data is upper-case hexadecimal, two characters a byte. Letter-coded text is a run of
 * items: a letter, three decimal digits of length, the value ("A016621094800000001B000").
 *
 * Threads. The library works on one device context without a lock: one call at a time. BO_Cancel,
 * BO_CancelWait, BO_Close, BO_DisConnect and BO_Reset may be called from a second thread to end a
 * call that waits. BO_GetErrInfo, BO_GetErrorCode and the text checks may be called from any thread
 * at any time.
 */
#ifndef VANTOR_BUSINESS_H
#define VANTOR_BUSINESS_H

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Load and unload ---- */

/* Runs by itself when the library is loaded: finds the library's directory, reads the log level
 * from the config.ini there, makes the directory "log", deletes log files that are too old, names
 * today's log file and serial port 1 ("/dev/ttyAMA0"), logs the version. Calling it again does the
 * same again. */
VANTOR_API void my_init(void);

/* Runs by itself when the library is unloaded: logs that it is. */
VANTOR_API void my_fini(void);

/* ---- Connection and device ---- */

/* The baud rate at which the host opened the serial line before BO_Open moved reader and line to
 * the configured one; BO_Close puts the reader back to it. 9600 at load. */
extern VANTOR_API int64_t g_DevBaud;

/* Turns an internal code into a public one: -2 into -1000 (device could not be opened), -16 into
 * -1002 (busy), -19 into -1003 (no device), -62 into -1004 (time-out), -125 into -1006 (cancelled),
 * -22 into -1007 (bad parameter), -74 into -1013 (bad message), -1 into -1014 (general failure).
 * Every other value comes back as it is. A code other than 0 is logged. */
VANTOR_API int BO_GetErrorCode(int code);

/* Connection test: opens the device, asks it for its information, closes it again.
 *
 *   port         0 USB (vendor 7107, product 337), 1 to 255 a serial port
 *   baud         the line's speed in bits per second, at most 115200; not used over USB
 *   bpPort       the pass-through port to select, '1' to 'Y'; 0 for none
 *   skipInfo     anything but 0: open and close only; info and infoLength may then be null
 *   reserved     not used
 *   info         gets the device information, at most 256 bytes, no NUL
 *   infoLength   gets its length in bytes
 *
 * Returns 0, -1000 or -1003 when the device cannot be opened, -1007 for a port or baud out of
 * range, -1001 when the reader does not answer (it is given 500 ms). */
VANTOR_API int BO_InitConnect(int port, int baud, unsigned char bpPort, int skipInfo, int reserved,
                              unsigned char *info, uint32_t *infoLength);

/* The same over USB with the given vendor and product id (7107 and 337: 0x1BC3, 0x0151); always
 * asks for the information. */
VANTOR_API int BO_InitConnect_PID(uint16_t vid, uint16_t pid, int reserved, unsigned char *info,
                                  uint32_t *infoLength);

/* Opens the device for the calls that follow; arguments as for BO_InitConnect. On a serial port it
 * then moves the reader and the line to the speed "DevBaud" of config.ini (the result of that is
 * not reported). On an open device only that is done. Returns 0, -1000, -1003 or -1007. */
VANTOR_API int BO_Open(int port, int baud, unsigned char bpPort);

/* Opens over USB with the given vendor and product id. */
VANTOR_API int BO_Open_PID(uint16_t vid, uint16_t pid);

/* Ends every wait (this takes 200 ms), puts the reader back to g_DevBaud, closes the device and
 * forgets it. Also right when nothing is open, or twice. Always returns 0. May be called from a
 * second thread. */
VANTOR_API int BO_Close(void);

/* For a device that has gone away: ends every wait (200 ms) and forgets the device without closing
 * it. Always returns 0. May be called from a second thread. */
VANTOR_API int BO_DisConnect(void);

/* Reads the device information (the reader is given 1000 ms); with skip other than 0 it returns 0
 * at once and touches nothing. info gets at most 256 bytes, no NUL. */
VANTOR_API int BO_GetDevInfo(int skip, unsigned char *info, uint32_t *infoLength);

/* Ends the reading that is under way in another thread, which then fails; takes 200 ms. A reading
 * that starts later is not affected. Always returns 0. */
VANTOR_API int BO_Cancel(void);

/* Ends the wait for a card in another thread within about 100 ms; that call returns -1006. Always
 * returns 0. */
VANTOR_API int BO_CancelWait(void);

/* Ends every wait (200 ms), then sends the reader the reset sequence. May be called from a second
 * thread. */
VANTOR_API int BO_Reset(void);

/* Selects the pass-through port '1' to 'Y'; any other value selects none. Always returns 0. */
VANTOR_API int BO_SetBpPort(unsigned char port);

/* Switches the reader's operating mode (0, 1 or 2) when "IdChange" of config.ini is 1; does nothing
 * otherwise. Always returns 0. */
VANTOR_API int BO_ChangeMode(int mode);

/* Moves the host's side of a serial line to another speed and reopens it.
 *
 *   baud      bits per second
 *   oldBaud   gets the speed until now; over USB it is left alone; may be null
 *
 * Returns 0, or -1000 when the line cannot be reopened. */
VANTOR_API int BO_ChangeBaud(int baud, int64_t *oldBaud);

/* Tells the reader to move to another speed (9600, 19200, 38400, 57600 or 115200 bits per second;
 * anything else counts as 9600). Returns 0 and sends nothing over USB, or when the line already has
 * that speed. -4002: the reader refuses. */
VANTOR_API int BO_SetDevBaud(int baud);

/* Sounds the buzzer. first is the duration: values to 99 are divided by 10, larger ones by 100,
 * before they go to the reader; second and third go as they are, one byte each. -1008 when "Iccmd"
 * of config.ini is not 1. */
VANTOR_API int BO_Beep(uint32_t first, uint32_t second, uint32_t third);

/* Chooses the contact card slot for the calls that follow, from 0. Nothing is sent. */
VANTOR_API void BO_SetSlot(uint32_t slot);

/* Reads the serial number, "QZ2024000123".
 *
 *   serialNumber   gets 32 bytes and a NUL: room for 33; an empty text when the reader is silent
 *   length         gets the length of that text
 *
 * The result is an internal code, deliberately not mapped: 0, -74 (no answer), -99 (refused), -2 or
 * -19 (not open), -22 (a pointer is missing). */
VANTOR_API int BO_GetDevSn(char *serialNumber, uint32_t *length);

/* Writes the serial number: length bytes, of which at most 32 are stored, zero bytes behind. The
 * result is an internal code as for BO_GetDevSn. */
VANTOR_API int BO_SetDevSn(const unsigned char *serialNumber, int length);

/* ---- Error texts ---- */

/* A short Chinese text for a public or business code, UTF-8: 0 gives "成功", -1004 "读数据超时".
 * A code without a text gives "其他错误".
 *
 *   reserved   not used
 *   message    gets the text and a NUL: room for 64 bytes; may be null
 *   length     gets the text's length in bytes, not characters; may be null
 *
 * Always returns 0. */
VANTOR_API int BO_GetErrInfo(int code, int reserved, char *message, int32_t *length);

/* ---- IC cards ----
 *
 * mode: 0 contact card, 1 contactless card, any other value automatic. */

/* Waits for a card and powers it on.
 *
 *   atrSize          the size of atrHex in characters
 *   atrHex           gets the answer to reset as hexadecimal text, no NUL ("3B6D000000960755...");
 *                    a text that does not fit is cut
 *   atrHexLength     gets the number of characters; 0 on failure, -22 when atrSize is 0 or atrHex
 *                    null; left alone on cancel
 *   cardType         gets 0 for a contact card, 1 for a contactless card, on success only
 *   timeoutSeconds   how long to wait for a card; 0: without limit
 *
 * Returns 0; -4000 or -4005 when no card came in time; -1006 when another thread ended the wait
 * (BO_CancelWait, BO_Close, BO_DisConnect, BO_Reset); -1007 for a negative time-out. Any other
 * failure ends the wait at once: with a limit it is returned (-1008: "Iccmd" of config.ini is
 * neither 0 nor 1; -1013: the reader does not answer), without a limit it becomes -4001. */
VANTOR_API int BO_IcPowerOn(int mode, int atrSize, char *atrHex, int32_t *atrHexLength,
                            int32_t *cardType, int timeoutSeconds);

/* Powers the card off; automatic is the kind that was last powered on. */
VANTOR_API int BO_IcPowerOff(int mode);

/* Sends one command APDU to the powered card.
 *
 *   apduHex             NUL-terminated upper-case hexadecimal text ("00A4040000"); every character
 *                       of it is examined, also those that are not sent
 *   apduHexLength       how many characters to send: even, 2 to 1024, at most the text's length
 *   reserved            not used
 *   responseHex         gets the response, SW1 SW2 last, as hexadecimal text, no NUL: room for 2048
 *                       characters; a longer response loses the end of its data
 *   responseHexLength   gets the number of characters; -22 when no response came
 *
 * Returns 0; -1007 for a bad text or length, without sending; -4004 card not powered; -4005 no
 * card; -4006 the command failed; -1013 the reader does not answer. */
VANTOR_API int BO_IcAPDU(int mode, const char *apduHex, int apduHexLength, int reserved,
                         char *responseHex, int32_t *responseHexLength);

/* Asks which cards are present; result gets 0 to 3. The result is an internal code, deliberately
 * not mapped: 0; -1008 unless "Iccmd" of config.ini is 1; -74 when the reader does not answer; -22
 * when the pointer is missing. */
VANTOR_API int BO_CardDetect(int32_t *result);

/* Text checks: 1 when the whole NUL-terminated text passes, else 0; null gives 0. The first bad
 * character is logged as information. */
VANTOR_API int IsHexDataValue(const char *text);  /* only 0-9 and A-F; an empty text passes */
VANTOR_API int IsNumDataValue(const char *text);  /* only 0-9; an empty text passes */
VANTOR_API int IsPbocDataValue(const char *text); /* only 0-9 and A-Z; an empty text passes */
VANTOR_API int IsTagListValue(const char *text);  /* at least one of A-Z, whatever else there is */

/* ---- Card information and logs ----
 *
 * Each waits for a card and powers it on as BO_IcPowerOn (mode, timeoutSeconds), selects the
 * application that stands last in the payment system environment, and powers the card off again.
 *
 * Each returns 0, what BO_IcPowerOn returns, or: -4100 no payment system environment, -4102 the
 * application cannot be selected. */

/* Reads data elements picked by letters: A account number, B cardholder name, C and D type and
 * number of the identity document, E track 2, F track 1 discretionary data, G electronic cash
 * balance, H its limit, I expiration date, J account sequence number, K electronic cash reset
 * threshold, L its single transaction limit, M effective date, N card product information.
 *
 *   tagList    the letters, NUL-terminated, in any order ("AEGI"); others are ignored
 *   reserved   not used
 *   info       gets the letter-coded text, items in the order A to N, and a NUL: room for 4409
 *              bytes when all letters are asked for. B, D and N are the card's bytes as they are
 *              (at most 512 each), the others hexadecimal text of at most 256 characters, A and E
 *              cut before the first 'F'. An element that the card does not have is the letter and
 *              "000": "A01662109480000000011D000G012000000003780".
 *
 * Also returns -1007 when tagList holds no letter, -4103 when the card asks for terminal data that
 * there is none of, -4104 for an answer to GET PROCESSING OPTIONS that makes no sense. */
VANTOR_API int BO_ICGetInfo(int mode, const char *tagList, int reserved, char *info,
                            int timeoutSeconds);

/* Reads the transaction log.
 *
 *   detail   gets the number of records (two digits, three from 100 on), the length of one record's
 *            text (three digits), the texts one behind the other, and a NUL: room for 27037 bytes.
 *            A record is 106 characters: P amount, Q other amount, R currency, S date, T type,
 *            U time, V country, W merchant name (20 bytes, spaces from a 00 byte on), X counter:
 *            "01106P012000000012345Q012000000000000R0040156S006250131T00201U006235959V0040156
 *            W020...X0040001". A record that cannot be read ends the list; none gives "00000".
 *
 * Also returns -4117 when the application has no transaction log. */
VANTOR_API int BO_ICGetDetail(int mode, int reserved, char *detail, int timeoutSeconds);

/* Reads the load log. As BO_ICGetDetail with records of 97 characters: O what was loaded ('1' or
 * '2'), P value before, Q value after, S date, U time, V country, W merchant name, X counter; room
 * for 24742 bytes. Returns -4103 when the application has no load log. */
VANTOR_API int BO_ICGetCircllog(int mode, int reserved, char *detail, int timeoutSeconds);

VANTOR_C_END

#endif
