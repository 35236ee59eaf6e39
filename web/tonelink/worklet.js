// The receiver on the audio thread. A block's samples are copied into the module's memory, and nothing
// is allocated for them; only what is told, a burst or a report, is made as objects.

import { Core, StreamReceiver } from './core.js';

const blockFrames = 128; // where a block without channels does not say it
const mostAbsentSeconds = 0.2; // a gap in the sound; what lasts longer is silence

class ToneLinkProcessor extends AudioWorkletProcessor {
    constructor({ processorOptions: { module, channels, lengths, methods, reportEvery } }) {
        super();
        this.isOpen = false;
        try {
            const settings = { sampleRate, channels, lengths, methods };
            this.receiver = new StreamReceiver(new Core(module), settings);
        } catch ({ code = 'receiver-failed', message }) {
            this.port.postMessage({ type: 'failed', code, message });
            return;
        }
        this.reportFrames = Math.round(reportEvery * sampleRate); // 0: when asked alone
        this.sinceReport = 0;
        this.nextFrame = Infinity; // at which the next block should begin
        this.mostAbsent = Math.round(mostAbsentSeconds * sampleRate);
        this.absent = this.mostAbsent; // frames without channels since the last with; none came yet
        this.isOpen = true;
        this.port.onmessage = ({ data }) => this.answer(data);
        this.port.postMessage({ type: 'ready' });
    }

    answer({ type, id }) {
        if (type === 'report') {
            this.port.postMessage({ type: 'answer', id, report: this.receiver.report() });
        } else if (type === 'close' && this.isOpen) {
            this.isOpen = false;
            this.receiver.flush(); // what was heard at the end is told, too
            this.tellHeard();
            const report = this.receiver.report();
            this.receiver.close();
            this.port.postMessage({ type: 'closed', report });
        }
    }

    tellHeard() {
        for (let heard = this.receiver.next(); heard !== null; heard = this.receiver.next())
            this.port.postMessage({ type: 'heard', heard });
    }

    /** Without channels nothing is connected, or the browser has nothing yet: the time goes on. */
    take(channels, frames) {
        if (channels.length > 0) {
            this.receiver.push(channels);
            this.absent = 0;
        } else if (this.absent < this.mostAbsent) {
            this.receiver.lost(frames);
            this.absent += frames;
        } else {
            this.receiver.pushSilence(frames);
        }
    }

    process(inputs) {
        if (!this.isOpen) return false;
        const channels = inputs[0];
        const frames = channels.length > 0 ? channels[0].length : blockFrames;
        if (currentFrame > this.nextFrame) this.receiver.lost(currentFrame - this.nextFrame);
        this.nextFrame = currentFrame + frames;
        this.take(channels, frames);
        this.tellHeard();
        this.sinceReport += frames;
        if (this.reportFrames > 0 && this.sinceReport >= this.reportFrames) {
            this.sinceReport -= this.reportFrames;
            this.port.postMessage({ type: 'report', report: this.receiver.report() });
        }
        return true;
    }
}

registerProcessor('tonelink-receiver', ToneLinkProcessor);
