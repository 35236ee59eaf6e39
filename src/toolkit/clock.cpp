// The wall clock as one 32-bit number.

#include "tonelink/toolkit.h"

#include <ctime>

uint32_t get_system_time(void) { return static_cast<uint32_t>(std::time(nullptr)) * 1000u; }
