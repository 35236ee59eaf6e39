/** What went wrong, for programs. */
export type ErrorCode =
    | 'bad-argument' // a message, rate, address or setting that there is not
    | 'closed' // a receiver that was closed is used
    | 'insecure-page' // a page that is neither HTTPS nor on localhost has no microphone
    | 'low-rate' // a microphone or context below 42000 Hz, where the bursts' band is not
    | 'microphone-busy' // it is there and allowed, and cannot be read
    | 'microphone-failed' // anything else that a browser says of it
    | 'no-audioworklet'
    | 'no-memory'
    | 'no-microphone'
    | 'no-module' // tonelink.wasm cannot be loaded, or is none
    | 'no-simd' // WebAssembly without vectors of 128 bits
    | 'no-webassembly' // the browser has none, or the page's policy forbids it
    | 'permission-denied' // by the user, the page or the system
    | 'rate-mismatch' // stream and context have different rates, and the browser does not convert
    | 'receiver-failed'; // the receiver on the audio thread stopped

export class ToneLinkError extends Error {
    readonly code: ErrorCode;
}

/** A burst that was heard. */
export interface Heard {
    bits: 32 | 48;
    /** 4 or 6 bytes, the first bit in the most significant place of the first. */
    message: Uint8Array;
    /** The frame with which the burst began, and the same in seconds from the start of the stream. */
    firstSample: number;
    seconds: number;
    /** Level in the burst's band; a sine of full scale has 0. */
    levelDbfs: number;
    snrDb: number;
    /** How much faster than this device's the sender's clock runs, in parts per million. */
    clockPpm: number;
    /** How many bursts were summed for it. */
    copies: number;
    /** Which methods heard it. */
    methods: number;
    /** How many times the same message came in the three seconds before: look for 0. */
    repeats: number;
    /** At how many positions the exact method accepted it; a single one may be chance. */
    positions: number;
}

/** Why nothing is heard, or that something is. */
export type Reason =
    | 'no_burst'
    | 'heard'
    | 'silent'
    | 'clipped'
    | 'band_cut'
    | 'too_weak'
    | 'clock'
    | 'samples_lost'; // by lost(), and by gaps in the context's time, which not every browser has

/** What reaches a receiver. */
export interface Report {
    /** Of all the stream, and of its last five seconds. */
    reason: Reason;
    recentReason: Reason;
    heard: number;
    unread: number;
    dropped: number;
    seconds: number;
    frames: number;
    lostFrames: number;
    clippedFrames: number;
    invalidFrames: number;
    /** Over the last tenth of a second: all frequencies, the largest sample, and the bursts' band. */
    levelDbfs: number;
    peakDbfs: number;
    bandDbfs: number;
    /** Where the sound ends; 0 where no such edge is seen. */
    bandEdgeHz: number;
    /** Of the unread bursts: how many dB were missing, and SNR and clock of the best. */
    missingDb: number;
    unreadSnrDb: number;
    unreadPpm: number;
    /** Level in each kilohertz from 0 to 22, over the last second. */
    spectrumDbfs: number[];
}

export const lengths: { readonly bits32: 1; readonly bits48: 2 };
export const methods: { readonly exact: 1; readonly far: 2 };

export interface ReceiverSettings {
    /** lengths.bits32 | lengths.bits48; default both. */
    lengths?: number;
    /** methods.exact | methods.far; default both. */
    methods?: number;
    /** From loadModule(); default the module beside index.js. */
    module?: WebAssembly.Module;
}

export interface ReceiverOptions extends ReceiverSettings {
    /** A context to be used and left open; default one at the stream's own rate. */
    context?: AudioContext;
    /** Seconds between calls of onreport; 0: none. Default 1. */
    reportEvery?: number;
    onheard?: (heard: Heard) => void;
    onreport?: (report: Report) => void;
    /** Told of what befalls the audio thread's end once createReceiver() has resolved. */
    onerror?: (error: ToneLinkError) => void;
}

/** A receiver of a MediaStream, on the audio thread. */
export interface Receiver {
    onheard: ((heard: Heard) => void) | null;
    onreport: ((report: Report) => void) | null;
    onerror: ((error: ToneLinkError) => void) | null;
    readonly context: AudioContext;
    readonly sampleRate: number;
    /** What reaches it now; once it is closed, what did. */
    report(): Promise<Report>;
    /**
     * Tells what was heard at the end, then lets go of everything but the stream. Where the audio
     * thread answers no more, as in a context that was closed, nothing is told and report() rejects.
     */
    close(): Promise<void>;
}

/** The microphone, with all processing for voices off. The caller stops its tracks. */
export function openMicrophone(options?: { deviceId?: string }): Promise<MediaStream>;

/** Which processing a stream's device does all the same. */
export function processingOf(
    stream: MediaStream,
): Array<'echoCancellation' | 'noiseSuppression' | 'autoGainControl'>;

/**
 * Hears what is in a stream; of several channels the one in which the band is loudest. Rejects where
 * the context's rate, the settings or the module will not do.
 */
export function createReceiver(stream: MediaStream, options?: ReceiverOptions): Promise<Receiver>;

/**
 * The burst of a message of 4 or 6 bytes as samples at a rate of 42000 to 384000 Hz, default 44100,
 * full scale from -1 to 1.
 */
export function makeBurst(
    message: ArrayLike<number>,
    options?: { sampleRate?: number; module?: WebAssembly.Module },
): Promise<Float32Array>;

/** A pairing's message: of 32 bits with a PIN below 65536, of 48 with one below 2^32. */
export function pairingMessage(pin: number, address: string, bits?: 32 | 48): Uint8Array;
export function readPairing(message: Uint8Array): { pin: number; octets: string };

/** A receiver of samples that a program has itself. */
export class StreamReceiver {
    private constructor();
    /** An array for each channel, all of one length; those that are not given are silent. */
    push(channels: Float32Array[]): void;
    pushSilence(frames: number): void;
    lost(frames: number): void;
    settle(): void;
    flush(): void;
    next(): Heard | null;
    report(): Report;
    /** Gives the memory back; whatever is called after it, but for close(), throws 'closed'. */
    close(): void;
}

export function createStreamReceiver(
    settings?: ReceiverSettings & { sampleRate?: number; channels?: number },
): Promise<StreamReceiver>;

/** The compiled module, from a URL or from beside index.js; to be shared with workers. */
export function loadModule(url?: string | URL): Promise<WebAssembly.Module>;
