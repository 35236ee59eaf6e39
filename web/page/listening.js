// Listening as the page does it: a microphone, a receiver, and what may befall both on a phone. Calls
// and other apps take the microphone away and give it back; it may be unplugged; browsers suspend
// what is in the background.
import { createReceiver, openMicrophone, processingOf } from '../tonelink/index.js';
import { keepScreenOn, letScreenSleep } from './wake_lock.js';

const reportSeconds = 0.2; // of the level that is shown, too
const resumeMs = 1000;
const closeMs = 1000;
const lowestRate = 42000; // below, the band is not there

class RateError extends Error {
    code = 'low-rate';
}

/**
 * A context at the microphone's own rate. It stands still, so that the receiver's stream begins at its
 * present time. Undefined in a browser without.
 */
async function contextFor(stream) {
    if (!globalThis.AudioContext || !globalThis.AudioWorkletNode) return undefined;
    const { sampleRate } = stream.getAudioTracks()[0].getSettings();
    if (sampleRate < lowestRate) throw new RateError();
    let context;
    try {
        context = new AudioContext(sampleRate ? { sampleRate } : {});
    } catch {
        context = new AudioContext(); // a rate that it does not take
    }
    if (context.sampleRate < lowestRate) {
        context.close();
        throw new RateError();
    }
    await Promise.race([context.suspend(), sleep(resumeMs)]);
    return context;
}

/**
 * How many frames the audio thread came too late for, by a browser that counts them. What the
 * microphone gave meanwhile is lost without a gap in the context's time: the receiver cannot know.
 */
function lateFrames({ playbackStats, sampleRate }) {
    return Math.round((playbackStats?.underrunDuration ?? 0) * sampleRate);
}

export class Listening {
    #events;
    #stream = null;
    #context = null;
    #receiver = null;
    #begun = 0; // counts what start() began, to which slow answers belong
    #isOver = true;
    #state = 'idle';
    #detail;

    /**
     * @param events  onstate(state, detail): 'idle', 'asking', 'starting', 'listening', 'paused', with
     *     whether the microphone is 'away' or the browser 'waits', or 'failed' with its code;
     *     onsource(node, channels, processing) with what is heard, and what the browser does to it
     *     unasked; onheard(heard, contextTime); onreport(report), where `lateFrames` are lost as well
     */
    constructor(events) {
        this.#events = events;
        document.addEventListener('visibilitychange', () => {
            if (!document.hidden && this.#state === 'paused') this.#resume();
        });
    }

    /** Opens the microphone and listens; to be called from a press. */
    async start() {
        const ours = ++this.#begun;
        const isOver = () => this.#isOver || ours !== this.#begun;
        this.#isOver = false;
        this.#enter('asking');
        try {
            const stream = await openMicrophone();
            if (isOver()) return stopTracks(stream);
            this.#stream = stream;
            this.#enter('starting');
            const context = await contextFor(stream);
            if (isOver()) return context?.close();
            this.#context = context ?? null;
            const beginning = context?.currentTime;
            const receiver = await createReceiver(stream, {
                context,
                reportEvery: reportSeconds,
                // What is heard at the end comes when it is over already.
                onheard: (heard) => {
                    if (ours === this.#begun)
                        this.#events.onheard(heard, beginning + heard.seconds);
                },
                onreport: (report) => {
                    if (!isOver())
                        this.#events.onreport({ ...report, lateFrames: lateFrames(context) });
                },
                onerror: (error) => {
                    if (!isOver()) this.#end('failed', error.code);
                },
            });
            if (isOver()) return;
            this.#receiver = receiver;
            // Where the browser waits for another press, there is a button for it.
            await Promise.race([context.resume(), sleep(resumeMs)]);
            if (isOver()) return;
            this.#follow();
        } catch (error) {
            if (!isOver()) this.#end('failed', error.code);
        }
    }

    stop() {
        this.#end('idle');
    }

    /** Tries to go on after a pause, by a press: a microphone that is away is opened anew. */
    goOn() {
        if (this.#detail !== 'away') return this.#resume();
        this.stop();
        this.start();
    }

    #resume() {
        this.#context?.resume().then(() => this.#look(), () => {});
        this.#look();
    }

    #follow() {
        const [track] = this.#stream.getAudioTracks();
        track.onended = track.onmute = track.onunmute = () => this.#look();
        this.#context.onstatechange = () => this.#look();
        const source = this.#context.createMediaStreamSource(this.#stream);
        const { channelCount = 2 } = track.getSettings();
        this.#events.onsource(source, channelCount, processingOf(this.#stream));
        keepScreenOn(this);
        this.#look();
    }

    /** Finds out whether sound arrives. */
    #look() {
        if (!this.#receiver) return;
        const { state } = this.#context;
        const [track] = this.#stream.getAudioTracks();
        if (track.readyState === 'ended') this.#end('failed', 'microphone-ended');
        else if (state === 'closed') this.#end('failed'); // it does not come back
        else if (track.muted || state === 'interrupted') this.#enter('paused', 'away');
        else if (state === 'running') this.#enter('listening');
        else this.#enter('paused', 'waits');
    }

    #enter(state, detail) {
        if (state === this.#state && detail === this.#detail) return;
        this.#state = state;
        this.#detail = detail;
        this.#events.onstate(state, detail);
    }

    #end(state, detail) {
        this.#isOver = true;
        letScreenSleep(this);
        this.#enter(state, detail);
        if (this.#context) this.#context.onstatechange = null;
        if (this.#stream) stopTracks(this.#stream);
        const [context, receiver] = [this.#context, this.#receiver];
        this.#context = this.#receiver = this.#stream = null;
        letGo(context, receiver);
    }
}

function stopTracks(stream) {
    for (const track of stream.getTracks()) {
        track.onended = track.onmute = track.onunmute = null;
        track.stop();
    }
}

/** Hears the end of what has arrived, unless the context stands still or the receiver has failed. */
async function letGo(context, receiver) {
    if (!context) return;
    if (receiver && context.state === 'running')
        await Promise.race([receiver.close(), sleep(closeMs)]);
    if (context.state !== 'closed') await context.close();
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
