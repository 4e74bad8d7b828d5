/* Reader link protocols: framed IC and identity commands, raw exchanges, escape sequences.
 *
 * Every exchange opens its own reference on the context (COMM_Open), writes, reads, and drops the
 * reference again, whether or not it succeeded: a context that Vantor_Open opened stays open, a
 * closed one is opened for this one exchange. Answers go to the caller's buffer; no NUL is written.
 *
 * Thread rule of this header, unless a call says otherwise: one command at a time, on the caller's
 * thread. Another thread may end a wait under way with Vantor_Cancel, and may do nothing else.
 *
 * Results are 0 or a positive count on success and else one of
 *     -2    the device could not be opened
 *     -19   no context, an unknown interface type, or no USB ids
 *     -22   a bad argument, or an answer longer than the caller's buffer
 *     -62   no answer within the time-out (raw and identity exchanges)
 *     -74   no answer, a cancelled wait, or a malformed answer (framed IC exchanges)
 *     -125  cancelled (RAWC_SendCmd, ID_SendCmd)
 *
 * A host that asks the reader on serial port 2 for its information:
 *
 *     if (Vantor_Open(&context, 2, 9600, 0) == 0)
 *     {
 *         const unsigned char command[] = {0x81, 0x00};
 *         unsigned char answer[256];
 *         int length = KrelIc_SendCmd(&context, command, 2, answer, sizeof(answer), 1000);
 *         Vantor_Close(&context);
 *     }
 */
#ifndef VANTOR_LINK_H
#define VANTOR_LINK_H

#include "vantor/transport.h"

VANTOR_C_BEGIN

/* ---- Framed commands to the IC module -------------------------------------------------------- */

/* Sends one command in the KrelIc framing and waits for its answer. On the wire the command
 * 81 00 is the text "60028100E3" and the byte 03.
 *
 *     command           the command bytes, commandLength of them: 1 to 255
 *     response          receives the payload of the answer: a status byte, then data. An answer in
 *                       the long form (255 bytes and more) may leave one byte more there than the
 *                       result counts, never more than responseCapacity
 *     responseCapacity  bytes of `response`, 1 or more. It bounds the answer's characters on the
 *                       wire, not its payload: 256 take 124 payload bytes, 4096 all that can come
 *     timeoutMs         milliseconds for the write and again for the read; 0 waits without end
 *
 * Returns the payload length, 0 included; -22, -19, -2 or -74. What a reader claims to send and
 * does not reads as zero bytes. The check byte of an answer is not verified.
 */
VANTOR_API int KrelIc_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                              int commandLength, unsigned char *response, int responseCapacity,
                              uint32_t timeoutMs);

/* The same in the Union_ framing. On the wire the command 31 11 00 is the byte 02, the text
 * "000331110020" and the byte 03; nibbles from ten on are the characters ":" to "?". Up to 1020
 * command bytes fit; more give -22. The payload of an answer begins with two status bytes. */
VANTOR_API int Union_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                             int commandLength, unsigned char *response, int responseCapacity,
                             uint32_t timeoutMs);

/* ---- Raw exchanges --------------------------------------------------------------------------- */

/* Sends unframed bytes and reads an answer of known length.
 *
 *     command           the bytes to write, commandLength of them: 1 or more (ESC "S")
 *     response          receives the answer
 *     responseCapacity  bytes of `response`, 1 or more
 *     expectedLength    0 to responseCapacity; 0 reads nothing. One read brings at most 1024 bytes
 *     timeoutMs         milliseconds for the write and for the read. The read is one single wait of
 *                       the whole time-out that nothing can cancel; a serial line takes the number
 *                       as microseconds (see COMM_Read)
 *
 * Returns the number of bytes received, which may be less than expected; the number written when
 * nothing is read (then `response` is left as it was) or not all was written; -22, -19, -2, -62,
 * or -1 when the transport failed.
 */
VANTOR_API int RAWL_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                            int commandLength, unsigned char *response, int responseCapacity,
                            int expectedLength, uint32_t timeoutMs);

/* Sends unframed bytes and reads, at most 1024 bytes, until the answer holds its end marker.
 *
 *     endKind  NUL-terminated name of the marker: "?\x1C" for track data (MsrPacketIsEnd), "rp/q"
 *              for a write status (MsrWriteIsEnd). Any other text reads nothing: the number of
 *              bytes written is returned and `response` gets as many zero bytes
 *
 * The other arguments and the results are those of RAWL_SendCmd. A time-out after part of an answer
 * returns that part. -125: cancelled. -22 also when more was received than responseCapacity.
 */
VANTOR_API int RAWC_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *command,
                            int commandLength, unsigned char *response, int responseCapacity,
                            const char *endKind, uint32_t timeoutMs);

/* End tests of a raw answer: non-zero when the first `count` bytes hold the marker anywhere, else
 * 0, also for null. MsrPacketIsEnd looks for "?" right before 1C, MsrWriteIsEnd for "rq" or "rp".
 * They keep no state; any thread may call them. */
VANTOR_API int MsrPacketIsEnd(const unsigned char *bytes, uint32_t count);
VANTOR_API int MsrWriteIsEnd(const unsigned char *bytes, uint32_t count);

/* ---- Identity module --------------------------------------------------------------------------
 */

/* Sends one command to the identity module and waits for its reply. On the wire the reset 11 FF is
 * AA AA AA 96 69 00 03 11 FF ED.
 *
 *     payload           the command byte, the parameter byte and any data, payloadLength of them:
 *                       1 to 508; more give -22
 *     response          receives the payload of the reply: SW1 SW2 SW3, then data
 *     responseCapacity  bytes of `response`: one more than the payload takes, else -22 with
 *                       `response` left as it was. 256 do for all commands but the reads, 4096 for
 *                       those
 *     timeoutMs         milliseconds for the write and again for the read; 0 waits without end
 *
 * Returns the number of bytes received, the frame's own 8 included (11 for a bare status); the
 * number written when not all was written (`response` is then left as it was); -22, -19, -2, -62,
 * -125, or -1 when the transport failed. A reply whose time ran out half way counts as received:
 * payload that it claims to have and lacks reads as zero bytes. Bytes that do not begin as a frame
 * are handed on from the eighth one. The check byte of a reply is not verified. */
VANTOR_API int ID_SendCmd(DEVCONTEXT *deviceContext, const unsigned char *payload,
                          int payloadLength, unsigned char *response, int responseCapacity,
                          uint32_t timeoutMs);

/* The frame of a command: payloadLength + 8 bytes at `out`. Returns its length; -22 for a null
 * pointer, a payload of more than 1021 bytes, or an outCapacity below twice payloadLength + 4. Any
 * thread may call it. */
VANTOR_API int ID_MakeCmdPackage(const unsigned char *payload, int payloadLength,
                                 unsigned char *out, int outCapacity);

/* End test of a reply: non-zero when the first `count` bytes begin with AA AA AA 96 69 and hold as
 * many bytes behind the length field as that says, else 0, also for null. Any thread may call it.
 */
VANTOR_API int KrelIdPacketIsEnd(const unsigned char *bytes, uint32_t count);

/* ---- The reader as a whole ------------------------------------------------------------------- */

/* 1 while a pass-through port is selected, so that Vantor_Close deselects it; else 0. */
extern VANTOR_API int32_t g_Bp;

/* Clears the context, opens the reader and selects a pass-through port.
 *
 *     port    0: the USB reader 1BC3:0151; 1 to 255: that serial port (15 is the last with a name)
 *     baud    bits per second of a serial port, at most 115200; a rate the line does not know is
 *             taken as 9600. Not looked at for USB
 *     bpPort  pass-through port "1" to "Y"; any other character selects none
 *
 * Returns 0; -22 for a bad port or rate, -2 or -19 when the reader cannot be opened. A context that
 * is open already is left alone: 0, nothing is sent. The context then holds one reference until
 * Vantor_Close.
 */
VANTOR_API int Vantor_Open(DEVCONTEXT *deviceContext, int port, int baud, unsigned char bpPort);

/* Clears the context and opens the USB reader with these ids (0x1BC3, 0x0151); sends nothing.
 * Returns 0, -2 or -19; 0 at once for a context that is open already. */
VANTOR_API int Vantor_Open_PID(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid);

/* Deselects the pass-through port when g_Bp is 1 (ESC "%A"; g_Bp stays as it is) and drops one
 * reference; the last one closes the device. Returns 0. On a closed context it does nothing. */
VANTOR_API int Vantor_Close(DEVCONTEXT *deviceContext);

/* Selects pass-through port "1" to "Y": sets g_Bp to 1 and, on an open context, sends ESC "%" and
 * the character within 100 ms. Any other character sends nothing and sets g_Bp to 0. Returns 0. */
VANTOR_API int Vantor_SetBpPort(DEVCONTEXT *deviceContext, unsigned char bpPort);

/* Resets the reader: ESC "S", without waiting for an answer. timeoutMs: milliseconds for the
 * write. Returns 0, or a negative code when it could not be sent. */
VANTOR_API int Vantor_Reset(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

/* Switches the operating mode: ESC "$", then "B" (mode 0), "I" (mode 1) or "S" (mode 2), then "0"
 * when the module's configured rate is 9600 and "4" when it is another. The rate of modes 0 and 1
 * is "IcBaud" in [devcfg] (default 9600), that of mode 2 "IdBaud" (default 9600 on a serial line,
 * 115200 over USB). Any other mode sends nothing. Returns 0 always. */
VANTOR_API int Vantor_ChangeMode(DEVCONTEXT *deviceContext, unsigned char mode);

/* Cancels the read under way and waits 200 milliseconds, so that it sees this before the caller
 * goes on. A read that begins later is not cancelled. Returns 0. Any thread may call it. */
VANTOR_API int Vantor_Cancel(void);

/* Reads once, at most 4096 bytes, what the reader sends unasked, and writes it to the log only.
 * timeoutMs: milliseconds; a serial line takes the number as microseconds (see COMM_Read).
 * Returns the number of bytes, or -2, -19, -62 or -1. */
VANTOR_API int Vantor_ReadData(DEVCONTEXT *deviceContext, uint32_t timeoutMs);

VANTOR_C_END

#endif
