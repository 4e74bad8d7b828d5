/*
 * libvantor: the one header that a host application includes.
 *
 * The topic headers it gathers, from the calls that most hosts need down to the bytes on the line:
 *   business.h         BO_... business calls, error texts, validators
 *   terminal.h         IC_... calls that stand alone, with a port and a numbering of their own
 *   transactions.h     whole card transactions: request cryptogram, issuer scripts, variant calls
 *   magnetic_stripe.h  BO_... magnetic cards
 *   identity_cards.h   BO_... identity cards
 *   memory_cards.h     BO_M1... and BO_M0... contactless memory cards
 *   pboc.h             TLV, data-object lists, application selection and reading of PBOC cards
 *   operations.h       IC_... one function per reader or card command
 *   magnetic_stripe_operations.h, identity_operations.h, memory_card_operations.h
 *                      MSR_..., ID_..., M1_... and M0_... the same for the other cards
 *   purse.h            EPED_... commands of the electronic purse and deposit
 *   link.h             framed and raw exchanges with the reader's modules, reader control
 *   transport.h        the device context, the adapters, the serial line
 *   hid.h              the USB HID channel
 *   text_conversion.h  UCS-2 to GB18030
 *   support.h          log, configuration, byte helpers
 *   ciphers.h          DES, MD5, Base64, file helpers
 */
#ifndef VANTOR_H
#define VANTOR_H

#include "vantor/business.h"
#include "vantor/ciphers.h"
#include "vantor/hid.h"
#include "vantor/identity_cards.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/purse.h"
#include "vantor/support.h"
#include "vantor/terminal.h"
#include "vantor/text_conversion.h"
#include "vantor/transactions.h"
#include "vantor/transport.h"

#endif
