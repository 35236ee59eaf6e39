// Tone Link in a browser: hears messages of near-ultrasonic sound, and makes their bursts.

import { Core, StreamReceiver } from './core.js';
import { loadModule } from './module.js';

export { ToneLinkError } from './errors.js';
export { pairingMessage, readPairing } from './message.js';
export { openMicrophone, processingOf } from './microphone.js';
export { createReceiver } from './receiver.js';
export { loadModule, StreamReceiver };

/** Message lengths and methods, to be combined. */
export const lengths = Object.freeze({ bits32: 1, bits48: 2 });
export const methods = Object.freeze({ exact: 1, far: 2 });

const senders = new WeakMap(); // of each module, an instance that makes bursts

async function senderOf(module) {
    module ??= await loadModule();
    if (!senders.has(module)) senders.set(module, new Core(module));
    return senders.get(module);
}

/**
 * The burst of a message, as samples to be played at a rate: floating point, full scale from -1 to 1.
 * At 44100 Hz they are the very samples that a transmission at full volume plays.
 */
export async function makeBurst(message, { sampleRate = 44100, module } = {}) {
    return (await senderOf(module)).makeBurst(message, sampleRate);
}

/** A receiver of samples that a program has itself, such as those of a file. */
export async function createStreamReceiver({ module, ...settings } = {}) {
    return new StreamReceiver(new Core(module ?? (await loadModule())), settings);
}
