// Plays a message's burst through the device's loudspeaker, once or again and again, at the
// device's own rate: the module makes the samples, and nothing resamples them on the way.
import { makeBurst } from '../tonelink/index.js';

const fadeSeconds = 0.01;
const tailSeconds = 1; // of silence: a device plays long after its samples were made, by radio above all
const resumeMs = 1000;
const lowestRate = 42000; // below, there is no room for the band

const failure = (code) => Object.assign(new Error(code), { code });
const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

export class Player {
    #onstate;
    #context = null;
    #gain = null;
    #beginning; // of the first burst, in the context's time
    #seconds = Infinity; // from one burst to the next
    #mostCopies;
    #played = 0; // bursts, when it was stopped

    /** @param onstate  called with 'starting', 'playing', 'paused' or 'stopped' */
    constructor(onstate) {
        this.#onstate = onstate;
    }

    /**
     * Starts with a message of four or six bytes; to be called from a press, or browsers refuse.
     * Throws errors with a code.
     */
    async play(message, { levelDb, isLooped }) {
        this.stop();
        if (!globalThis.AudioContext) throw failure('no-audioworklet');
        const context = new AudioContext({ latencyHint: 'playback' });
        this.#context = context;
        this.#seconds = Infinity;
        const isOver = () => this.#context !== context;
        try {
            if (context.sampleRate < lowestRate) throw failure('low-output-rate');
            // While the press counts; where the browser waits for another one, there is a button.
            const resumed = Promise.race([context.resume(), sleep(resumeMs)]).catch(() => {});
            this.#onstate('starting');
            const samples = await makeBurst(message, context);
            if (isOver()) return;
            this.#begin(samples, levelDb, isLooped);
            await resumed;
            if (isOver()) return;
            context.onstatechange = () => this.#follow();
            this.#follow();
        } catch (error) {
            if (isOver()) return;
            this.stop();
            throw error;
        }
    }

    #begin(samples, levelDb, isLooped) {
        const context = this.#context;
        const { sampleRate } = context;
        const tail = isLooped ? 0 : Math.round(tailSeconds * sampleRate);
        const buffer = new AudioBuffer({ length: samples.length + tail, sampleRate });
        buffer.copyToChannel(samples, 0);
        const source = new AudioBufferSourceNode(context, { buffer, loop: isLooped });
        this.#gain = new GainNode(context, { gain: 10 ** (levelDb / 20) });
        source.connect(this.#gain).connect(context.destination);
        source.onended = () => {
            if (this.#context === context) this.stop();
        };
        this.#beginning = context.currentTime + fadeSeconds;
        this.#seconds = samples.length / sampleRate;
        this.#mostCopies = isLooped ? Infinity : 1;
        source.start(this.#beginning);
    }

    #follow() {
        if (this.#context) this.#onstate(this.#context.state === 'running' ? 'playing' : 'paused');
    }

    /** Bursts that have been played to their end, now or the last time. */
    get copies() {
        if (!this.#context) return this.#played;
        if (this.#seconds === Infinity) return 0; // none is made yet
        const copies = Math.floor((this.#context.currentTime - this.#beginning) / this.#seconds);
        return Math.min(Math.max(copies, 0), this.#mostCopies);
    }

    resume() {
        this.#context?.resume().then(() => this.#follow(), () => {});
    }

    stop() {
        const context = this.#context;
        if (!context) return;
        this.#played = this.copies;
        this.#context = null;
        context.onstatechange = null;
        if (this.#gain && context.state === 'running') {
            this.#gain.gain.setTargetAtTime(0, context.currentTime, fadeSeconds / 3);
            setTimeout(() => context.close(), 5000 * fadeSeconds);
        } else {
            context.close();
        }
        this.#gain = null;
        this.#onstate('stopped');
    }
}
