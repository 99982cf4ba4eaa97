// Operators as text: the list of terms that a user reads, and the record with its hash table.
#pragma once

#include <cstdio>
#include <string>

#include "core/operator.h"

namespace fermix {

// Settings, then for each length that has terms one line a term: the ladder operators in the order of the
// mathematical product (C3 creates at orbital 3, A3 annihilates there) and the coefficient.
std::string StringPrintOperatorReadable(const OperatorType& O);
void StreamPrintOperatorReadable(const OperatorType& O, std::FILE* stream);

// The record as it lies in memory: addresses, capacities, and for each term its number (from 0) and the
// number (from 1, 0 at the end) of the next term on its chain, for a table of 2^NBitsKey slots in which new
// terms go to the tail.
std::string StringPrintOperatorFullReadable(const OperatorType& O);
void StreamPrintOperatorFullReadable(const OperatorType& O, std::FILE* stream);

}  // namespace fermix
