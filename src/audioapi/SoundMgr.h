// The process's one transmission, for the service and its tests.
#pragma once

#include "tonelink/service.h"
#include "tonelink/transmit.h"

#include <pthread.h>

#include "audioapi/prepared_message.h"

extern tonelink_tx_h *tx_handler;         ///< the transmission; null when there is none
extern pthread_mutex_t audio_start_mutex; ///< held by asynchronous starts while they compose

/// Makes `tx_handler` with the burst of the next message. Returns 0; 2 when there is one already;
/// -1 when none could be made.
int32_t generate_message(int32_t nbits, const tonelink::prepared_message &message);
