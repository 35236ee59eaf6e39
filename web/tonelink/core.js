// The compiled module's functions as objects of JavaScript. It runs wherever there is WebAssembly: in
// a page, in an audio worklet, in a worker and in Node. It fetches nothing.

import { ToneLinkError } from './errors.js';

const mostChannels = 8;
const mostFrames = 1024; // of each channel, in one push into the module
const burstSamples = 23170;
const noMemory = -5; // a result

/** A text of C, which is ASCII; a worklet has no TextDecoder. */
function textAt(memory, address) {
    const bytes = new Uint8Array(memory.buffer);
    let text = '';
    for (let at = address; bytes[at] !== 0; ++at) text += String.fromCharCode(bytes[at]);
    return text;
}

/** The module, ready to run. Its functions are in module.h. */
export class Core {
    constructor(module) {
        this.exports = new WebAssembly.Instance(module, {}).exports;
        this.exports._initialize();
        this.memory = this.exports.memory;
        this.reasons = Array.from({ length: 8 }, (_, reason) =>
            textAt(this.memory, this.exports.reason_word(reason)),
        );
    }

    /** A burst as a transmission at full volume plays it, 16 bits at 44100 Hz. */
    makeBurst(message) {
        const samples = this.#burst(message);
        return new Int16Array(this.memory.buffer, samples, burstSamples).slice();
    }

    /** The same as floating point, at any rate that a receiver takes. */
    makeBurstAt(message, sampleRate) {
        const length = Number.isInteger(sampleRate) ? this.exports.burst_length(sampleRate) : 0;
        if (length === 0) throw new ToneLinkError('bad-argument', `no burst at ${sampleRate} Hz`);
        this.#burst(message);
        const address = this.exports.burst_at(sampleRate);
        if (address === 0) throw new ToneLinkError('no-memory', 'no memory for a burst');
        const samples = new Float32Array(this.memory.buffer, address, length).slice();
        this.exports.release(address);
        return samples;
    }

    #burst(message) {
        const bytes = Array.from(message);
        const areBytes = bytes.every((byte) => Number.isInteger(byte) && byte >= 0 && byte < 256);
        if ((bytes.length !== 4 && bytes.length !== 6) || !areBytes)
            throw new ToneLinkError('bad-argument', 'a message is 4 or 6 bytes');
        const bits = new Uint8Array(this.memory.buffer, this.exports.message(), 48);
        for (let i = 0; i < 8 * bytes.length; ++i) bits[i] = (bytes[i >> 3] >> (7 - (i & 7))) & 1;
        const address = this.exports.make_burst(8 * bytes.length);
        if (address === 0) throw new ToneLinkError('no-memory', 'no memory for a burst');
        return address;
    }
}

/** A stream of sound in, what was heard and a report out. */
export class StreamReceiver {
    #core;
    #stream;
    #channels;
    #inputAddress;
    #input; // a view for each channel, of the memory's present buffer

    /** @param settings sampleRate, lengths, methods and channels, each with the library's default */
    constructor(core, { sampleRate = 44100, lengths = 0, methods = 0, channels = 1 } = {}) {
        const { exports, memory } = core;
        const stream = exports.open(sampleRate, lengths, methods, channels);
        if (stream === 0) {
            const result = exports.result();
            const code = result === noMemory ? 'no-memory' : 'bad-argument';
            throw new ToneLinkError(code, `no receiver: ${textAt(memory, exports.result_text(result))}`);
        }
        this.#core = core;
        this.#stream = stream;
        this.#channels = channels;
        this.#inputAddress = exports.input(stream);
        this.#findInput();
    }

    #opened() {
        if (this.#stream === 0) throw new ToneLinkError('closed', 'the receiver is closed');
        return this.#stream;
    }

    /** Memory that grew has a new buffer; nothing is allocated otherwise. */
    #findInput() {
        const buffer = this.#core.memory.buffer;
        if (this.#input !== undefined && this.#input[0].buffer === buffer) return;
        this.#input = [];
        for (let channel = 0; channel < this.#channels; ++channel)
            this.#input.push(
                new Float32Array(buffer, this.#inputAddress + 4 * mostFrames * channel, mostFrames),
            );
    }

    /**
     * Takes the next frames: an array for each channel, all of one length. Those of channels that are
     * not given are silent.
     */
    push(channels) {
        const frames = channels.length === 0 ? 0 : channels[0].length;
        for (let channel = 1; channel < channels.length; ++channel)
            if (channels[channel].length !== frames)
                throw new ToneLinkError('bad-argument', 'channels of unequal lengths');
        if (frames <= mostFrames) {
            this.#pushBlock(channels, frames);
            return;
        }
        for (let at = 0; at < frames; at += mostFrames) {
            const end = Math.min(at + mostFrames, frames);
            this.#pushBlock(channels.map((channel) => channel.subarray(at, end)), end - at);
        }
    }

    #pushBlock(channels, frames) {
        const stream = this.#opened();
        this.#findInput();
        for (let channel = 0; channel < this.#channels; ++channel) {
            if (channel < channels.length) this.#input[channel].set(channels[channel]);
            else this.#input[channel].fill(0, 0, frames);
        }
        this.#core.exports.push(stream, frames);
    }

    /** Takes so many frames of silence. */
    pushSilence(frames) {
        for (let at = 0; at < frames; at += mostFrames)
            this.#pushBlock([], Math.min(mostFrames, frames - at));
    }

    /** Says that the device has lost so many frames. */
    lost(frames) {
        this.#core.exports.lost(this.#opened(), frames);
    }

    /** Brings out at once what the exact method has heard already. */
    settle() {
        this.#core.exports.settle(this.#opened());
    }

    /** Says that the stream ends here; what is pushed next is a new one. */
    flush() {
        this.#core.exports.flush(this.#opened());
    }

    /** The next burst that was heard, or null. */
    next() {
        const at = this.#core.exports.next(this.#opened());
        if (at === 0) return null;
        const view = new DataView(this.#core.memory.buffer, at);
        const bits = view.getInt32(4, true);
        return {
            bits,
            message: new Uint8Array(this.#core.memory.buffer, at + 8, bits / 8).slice(),
            firstSample: Number(view.getBigInt64(16, true)),
            seconds: view.getFloat64(24, true),
            levelDbfs: view.getFloat32(32, true),
            snrDb: view.getFloat32(36, true),
            clockPpm: view.getFloat32(40, true),
            copies: view.getInt32(44, true),
            methods: view.getUint32(48, true),
            repeats: view.getUint32(52, true),
            positions: view.getUint32(56, true),
        };
    }

    /** What reaches the receiver, and why nothing is heard. */
    report() {
        const at = this.#core.exports.report(this.#opened());
        const view = new DataView(this.#core.memory.buffer, at);
        const spectrumDbfs = [];
        for (let band = 0; band < 22; ++band)
            spectrumDbfs.push(view.getFloat32(92 + 4 * band, true));
        return {
            reason: this.#core.reasons[view.getInt32(4, true)],
            recentReason: this.#core.reasons[view.getInt32(8, true)],
            heard: view.getUint32(12, true),
            unread: view.getUint32(16, true),
            dropped: view.getUint32(20, true),
            seconds: view.getFloat64(24, true),
            frames: Number(view.getBigUint64(32, true)),
            lostFrames: Number(view.getBigUint64(40, true)),
            clippedFrames: Number(view.getBigUint64(48, true)),
            invalidFrames: Number(view.getBigUint64(56, true)),
            levelDbfs: view.getFloat32(64, true),
            peakDbfs: view.getFloat32(68, true),
            bandDbfs: view.getFloat32(72, true),
            bandEdgeHz: view.getFloat32(76, true),
            missingDb: view.getFloat32(80, true),
            unreadSnrDb: view.getFloat32(84, true),
            unreadPpm: view.getFloat32(88, true),
            spectrumDbfs,
        };
    }

    /** Gives the memory back. */
    close() {
        if (this.#stream !== 0) this.#core.exports.close(this.#stream);
        this.#stream = 0;
    }
}

export { mostChannels };
