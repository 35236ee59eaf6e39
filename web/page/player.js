// Plays a message's burst through the device's loudspeaker, once or again and again, at the
// device's own rate: the module makes the samples, and nothing resamples them on the way.
import { makeBurst } from '../tonelink/index.js';

const fadeSeconds = 0.01;
const lowestRate = 42000; // below, there is no room for the band

class RateError extends Error {
    code = 'low-output-rate';
}

export class Player {
    #onstate;
    #context = null;
    #gain = null;
    #beginning; // of the first burst, in the context's time
    #seconds; // from one burst to the next

    /** @param onstate  called with 'playing', 'paused' or 'stopped' */
    constructor(onstate) {
        this.#onstate = onstate;
    }

    /**
     * Starts with a message of four or six bytes; to be called from a press, or browsers refuse.
     * Throws errors with a code.
     */
    async play(message, { levelDb, isLooped }) {
        this.stop();
        const context = new AudioContext({ latencyHint: 'playback' });
        this.#context = context;
        try {
            if (context.sampleRate < lowestRate) throw new RateError();
            const samples = await makeBurst(message, context);
            if (this.#context !== context) return;
            this.#begin(samples, levelDb, isLooped);
            context.onstatechange = () => this.#follow();
            await context.resume();
        } catch (error) {
            if (this.#context === context) this.stop();
            throw error;
        }
    }

    #begin(samples, levelDb, isLooped) {
        const context = this.#context;
        const buffer = new AudioBuffer({ length: samples.length, sampleRate: context.sampleRate });
        buffer.copyToChannel(samples, 0);
        const source = new AudioBufferSourceNode(context, { buffer, loop: isLooped });
        this.#gain = new GainNode(context, { gain: 10 ** (levelDb / 20) });
        source.connect(this.#gain).connect(context.destination);
        source.onended = () => {
            if (this.#context === context) this.stop();
        };
        this.#beginning = context.currentTime + fadeSeconds;
        this.#seconds = buffer.duration;
        source.start(this.#beginning);
        this.#onstate('playing');
    }

    #follow() {
        if (this.#context) this.#onstate(this.#context.state === 'running' ? 'playing' : 'paused');
    }

    /** Bursts that have been played to their end. */
    get copies() {
        if (!this.#context) return 0;
        return Math.max(
            0,
            Math.floor((this.#context.currentTime - this.#beginning) / this.#seconds),
        );
    }

    resume() {
        this.#context?.resume();
    }

    stop() {
        const context = this.#context;
        if (!context) return;
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
