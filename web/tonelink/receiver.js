// A receiver of a MediaStream: context, worklet, and what comes back from it.

import { mostChannels } from './core.js';
import { ToneLinkError } from './errors.js';
import { loadModule } from './module.js';

/** A context at the stream's own rate, so that nothing is converted before the receiver. */
function contextFor(track) {
    if (globalThis.AudioContext === undefined || globalThis.AudioWorkletNode === undefined)
        throw new ToneLinkError('no-audioworklet', 'this browser has no AudioWorklet');
    const rate = track.getSettings().sampleRate;
    try {
        return new AudioContext(rate === undefined ? {} : { sampleRate: rate });
    } catch {
        return new AudioContext(); // a rate that it does not take
    }
}

/** The stream's source; Firefox joins a stream to a context of the same rate alone. */
function connect(context, stream) {
    try {
        return context.createMediaStreamSource(stream);
    } catch (error) {
        throw new ToneLinkError('rate-mismatch', `the stream has another rate: ${error.message}`, error);
    }
}

const lowestRate = 42000;
const patienceMs = 5000; // with an audio thread that may stand still

const stopped = 'the receiver stopped';

/** Waits for what the audio thread says of its settings. */
function opened(node) {
    return new Promise((resolve, reject) => {
        // This may come before the message that it is ready.
        node.onprocessorerror = () => reject(new ToneLinkError('receiver-failed', stopped));
        node.port.onmessage = ({ data: { type, code, message } }) =>
            type === 'failed' ? reject(new ToneLinkError(code, message)) : resolve();
        setTimeout(resolve, patienceMs);
    });
}

class Receiver {
    #context;
    #isOurs; // the context
    #source;
    #node;
    #waiting = new Map(); // of report(): the promises' ends, by number
    #asked = 0;
    #closing = null;
    #lastReport = null;
    #resolveClosed = null;
    #failure = null; // why nothing answers any more
    #look = () => {
        if (this.#context.state === 'closed') this.#end('closed', 'the context is closed');
    };

    constructor(context, isOurs, source, node, options) {
        this.#context = context;
        this.#isOurs = isOurs;
        this.#source = source;
        this.#node = node;
        this.onheard = options.onheard ?? null;
        this.onreport = options.onreport ?? null;
        this.onerror = options.onerror ?? null;
        node.port.onmessage = ({ data }) => this.#take(data);
        node.onprocessorerror = () => this.#fail('receiver-failed', stopped);
        context.addEventListener('statechange', this.#look);
        source.connect(node);
    }

    get context() {
        return this.#context;
    }

    get sampleRate() {
        return this.#context.sampleRate;
    }

    #take({ type, heard, report, id, code, message }) {
        if (type === 'heard') {
            this.onheard?.(heard);
        } else if (type === 'report') {
            this.onreport?.(report);
        } else if (type === 'answer') {
            this.#waiting.get(id)?.resolve(report);
            this.#waiting.delete(id);
        } else if (type === 'closed') {
            this.#lastReport = report;
            this.#resolveClosed();
        } else if (type === 'failed') {
            this.#fail(code, message);
        }
    }

    /** The audio thread's end stopped by an error of its own. */
    #fail(code, message) {
        this.#end(code, message);
        this.onerror?.(this.#failure);
    }

    /** Nobody shall wait for what does not answer any more. */
    #end(code, message) {
        this.#failure ??= new ToneLinkError(code, message);
        for (const { reject } of this.#waiting.values()) reject(this.#failure);
        this.#waiting.clear();
        this.#resolveClosed?.();
    }

    /** Asks what reaches the receiver; once it is closed, what did. */
    async report() {
        if (this.#closing !== null) {
            await this.#closing;
            if (this.#lastReport !== null) return this.#lastReport;
        }
        this.#look();
        if (this.#failure !== null) throw this.#failure;
        return new Promise((resolve, reject) => {
            const id = ++this.#asked;
            this.#waiting.set(id, { resolve, reject });
            this.#node.port.postMessage({ type: 'report', id });
        });
    }

    /** Hears the end, and lets go of everything but the stream. */
    close() {
        this.#closing ??= this.#close();
        return this.#closing;
    }

    async #close() {
        this.#look();
        if (this.#failure === null)
            await new Promise((resolve) => {
                this.#resolveClosed = resolve;
                this.#node.port.postMessage({ type: 'close' });
                setTimeout(resolve, patienceMs);
            });
        this.#end('closed', 'the receiver is closed');
        this.#context.removeEventListener('statechange', this.#look);
        this.#source.disconnect(this.#node);
        this.#node.port.close();
        if (this.#isOurs && this.#context.state !== 'closed') await this.#context.close();
    }
}

/**
 * Hears what is in a MediaStream, such as openMicrophone()'s.
 * @param options  see ReceiverOptions in index.d.ts
 */
export async function createReceiver(stream, options = {}) {
    const [track] = stream.getAudioTracks();
    if (track === undefined) throw new ToneLinkError('no-microphone', 'the stream has no sound');
    const isOurs = options.context === undefined;
    const context = isOurs ? contextFor(track) : options.context;
    const { lengths = 0, methods = 0, reportEvery = 1 } = options;
    try {
        if (context.audioWorklet === undefined)
            throw new ToneLinkError('no-audioworklet', 'AudioWorklets need a page by HTTPS or on localhost');
        if (context.sampleRate < lowestRate)
            throw new ToneLinkError('low-rate', `no bursts are in sound of ${context.sampleRate} Hz`);
        const [module] = await Promise.all([
            options.module ?? loadModule(),
            context.audioWorklet.addModule(new URL('./worklet.js', import.meta.url)),
        ]);
        const source = connect(context, stream);
        const channels = Math.min(track.getSettings().channelCount ?? 2, mostChannels);
        const node = new AudioWorkletNode(context, 'tonelink-receiver', {
            numberOfInputs: 1,
            numberOfOutputs: 0,
            channelCount: channels,
            channelCountMode: 'explicit',
            channelInterpretation: 'discrete', // all channels as they are, none mixed
            processorOptions: { module, channels, lengths, methods, reportEvery },
        });
        await opened(node);
        const receiver = new Receiver(context, isOurs, source, node, options);
        // Where the browser waits for a click or a key, this ends with that: it is not waited for.
        if (isOurs) context.resume().catch(() => {});
        return receiver;
    } catch (error) {
        if (isOurs) await context.close();
        throw error;
    }
}
