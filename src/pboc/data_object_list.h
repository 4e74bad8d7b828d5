// Data-object lists (PDOL, CDOL): the data that a card asks the terminal for.
#pragma once

#include <cstdint>

// PBOC_BuildDOL for data of at most `capacity` bytes; more than that gives -99.
int BuildListData(const uint8_t *list, int listLength, uint8_t *data, int capacity,
                  int32_t *dataLength);
