// The compiled module's functions as objects of JavaScript. It runs wherever there is WebAssembly: in
// a page, in an audio worklet, in a worker and in Node. It fetches nothing.

import { ToneLinkError } from './errors.js';

export const mostChannels = 8;
const mostFrames = 1024; // of each channel, in one push into the module
const noMemory = -5; // a result
const noChannels = [];

/** A text of C, which is ASCII; a worklet has no TextDecoder. */
function textAt(memory, address) {
    const bytes = new Uint8Array(memory.buffer);
    let text = '';
    for (let at = address; bytes[at] !== 0; ++at) text += String.fromCharCode(bytes[at]);
    return text;
}

/** What reads the fields of a record, by their places. */
function fieldsAt(memory, address) {
    const view = new DataView(memory.buffer, address);
    return {
        count: (at) => view.getUint32(at, true),
        long: (at) => Number(view.getBigInt64(at, true)),
        float: (at) => view.getFloat32(at, true),
        double: (at) => view.getFloat64(at, true),
    };
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

    /** A burst as a transmission at full volume plays it, at any rate that a receiver takes. */
    makeBurst(message, sampleRate) {
        const { exports, memory } = this;
        const length = Number.isInteger(sampleRate) ? exports.burst_length(sampleRate) : 0;
        if (length === 0) throw new ToneLinkError('bad-argument', `no burst at ${sampleRate} Hz`);
        const bytes = Array.from(message);
        const areBytes = bytes.every((byte) => Number.isInteger(byte) && byte >= 0 && byte < 256);
        if ((bytes.length !== 4 && bytes.length !== 6) || !areBytes)
            throw new ToneLinkError('bad-argument', 'a message is 4 or 6 bytes');
        const bits = new Uint8Array(memory.buffer, exports.message(), 48);
        for (let i = 0; i < 8 * bytes.length; ++i) bits[i] = (bytes[i >> 3] >> (7 - (i & 7))) & 1;
        const address = exports.make_burst(8 * bytes.length) && exports.burst_at(sampleRate);
        if (address === 0) throw new ToneLinkError('no-memory', 'no memory for a burst');
        const samples = new Float32Array(memory.buffer, address, length).slice();
        exports.release(address);
        return samples;
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
        if (![sampleRate, lengths, methods, channels].every(Number.isFinite))
            throw new ToneLinkError('bad-argument', 'no receiver: a setting is no number');
        const { exports, memory } = core;
        this.#stream = exports.open(sampleRate, lengths, methods, channels);
        if (this.#stream === 0) {
            const result = exports.result();
            const code = result === noMemory ? 'no-memory' : 'bad-argument';
            throw new ToneLinkError(code, `no receiver: ${textAt(memory, exports.result_text(result))}`);
        }
        this.#core = core;
        this.#channels = channels;
        this.#inputAddress = exports.input(this.#stream);
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
        const frames = channels.length === 0 ? 0 : channels[0]?.length;
        if (frames === undefined) throw new ToneLinkError('bad-argument', 'not an array for each channel');
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
            this.#pushBlock(noChannels, Math.min(mostFrames, frames - at));
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
        const { count, long, float, double } = fieldsAt(this.#core.memory, at);
        const bits = count(4);
        return {
            bits,
            message: new Uint8Array(this.#core.memory.buffer, at + 8, bits / 8).slice(),
            firstSample: long(16),
            seconds: double(24),
            levelDbfs: float(32),
            snrDb: float(36),
            clockPpm: float(40),
            copies: count(44),
            methods: count(48),
            repeats: count(52),
            positions: count(56),
        };
    }

    /** What reaches the receiver, and why nothing is heard. */
    report() {
        const at = this.#core.exports.report(this.#opened());
        const { count, long, float, double } = fieldsAt(this.#core.memory, at);
        const spectrumDbfs = [];
        for (let band = 0; band < 22; ++band) spectrumDbfs.push(float(92 + 4 * band));
        return {
            reason: this.#core.reasons[count(4)],
            recentReason: this.#core.reasons[count(8)],
            heard: count(12),
            unread: count(16),
            dropped: count(20),
            seconds: double(24),
            frames: long(32),
            lostFrames: long(40),
            clippedFrames: long(48),
            invalidFrames: long(56),
            levelDbfs: float(64),
            peakDbfs: float(68),
            bandDbfs: float(72),
            bandEdgeHz: float(76),
            missingDb: float(80),
            unreadSnrDb: float(84),
            unreadPpm: float(88),
            spectrumDbfs,
        };
    }

    /** Gives the memory back. */
    close() {
        if (this.#stream !== 0) this.#core.exports.close(this.#stream);
        this.#stream = 0;
    }
}
