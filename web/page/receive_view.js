// The receiving side of the page: what a person sees of a Listening.
import { HeardLog } from './heard_log.js';
import { Listening } from './listening.js';
import { Spectrogram } from './spectrogram.js';
import { adviceOn, spelled, strengthWord, timesWord, wordsForFailure } from './words.js';

const element = (id) => document.getElementById(id);

const idle = {
    title: 'Hold this phone towards the television',
    text: 'It sends its PIN as a tone too high to hear. This page listens and reads it.',
};
const asking = {
    title: 'Allow the microphone',
    text: 'The browser asks whether this page may use it. Choose “Allow”.',
};
const listening = {
    title: 'Listening',
    text: 'Hold the phone towards the television, a few steps away at most.',
};
const starting = { title: 'Starting', text: 'The microphone is open.' };
const paused = {
    away: {
        title: 'Paused',
        text: 'The microphone is away: a call, or another app. Listening goes on when it is back; if it does not, press “Continue”.',
    },
    waits: { title: 'Paused', text: 'The browser has stopped the sound. Press “Continue”.' },
};

// The first seconds say nothing about what stands in the way.
const patienceSeconds = 5;
const silencePatienceSeconds = 2;
const recentSeconds = 5; // of which a report tells the reason
const adviceSeconds = 8; // after a burst
const doubt = 'Heard once and barely: wait until it comes again.';
const meterRangeDb = [-110, 0];
const silenceDb = -150; // the least level that a receiver tells

const decibels = (value) =>
    value <= silenceDb ? 'silent' : `${String(Math.round(value) || 0).replace('-', '−')}\u00a0dB`;

export class ReceiveView {
    #onidle;
    #log = new HeardLog();
    #state = 'idle';
    #detail; // of the state
    #reports = []; // of the last seconds, the latest at the end
    #heardAt; // the latest burst, in the stream's seconds
    #shown = null; // the entry whose PIN stands large
    #spectrogram;
    #listening;
    #device; // what the figures say of the microphone

    /** @param onidle  called when nothing is shown that should stay */
    constructor(onidle) {
        this.#onidle = onidle;
        this.#spectrogram = new Spectrogram(element('spectrogram'));
        this.#listening = new Listening({
            onstate: (state, detail) => this.#enter(state, detail),
            onsource: (...source) => this.#see(...source),
            onheard: (heard, contextTime) => this.#hear(heard, contextTime),
            onreport: (report) => this.#takeReport(report),
        });
        element('listen').addEventListener('click', () => this.#press());
        element('stop').addEventListener('click', () => this.#listening.stop());
        element('figures').addEventListener('toggle', () => this.#showFigures());
        this.#render();
    }

    #press() {
        if (['asking', 'starting', 'listening'].includes(this.#state)) this.#listening.stop();
        else if (this.#state === 'paused') this.#listening.goOn();
        else {
            this.#shown = null;
            this.#onidle();
            this.#listening.start();
        }
    }

    get isIdle() {
        return ['idle', 'failed'].includes(this.#state) && !this.#shown;
    }

    #enter(state, detail) {
        if (state === 'asking') {
            this.#shown = null;
            this.#reports = [];
        }
        if (state === 'idle' || state === 'failed') this.#spectrogram.stop();
        this.#state = state;
        this.#detail = detail;
        this.#render();
        this.#onidle();
    }

    #see(source, channels, processing) {
        this.#device = { sampleRate: source.context.sampleRate, processing };
        this.#spectrogram.start(source, channels);
    }

    #hear(heard, contextTime) {
        const entry = this.#log.add(heard, new Date());
        const isNew = entry.bursts === heard.copies;
        this.#spectrogram.mark(contextTime, isNew ? `PIN ${entry.message.pin}` : '');
        // What may be chance stands in the log beside what is certain.
        if (!this.#shown || this.#shown.isDoubtful || !entry.isDoubtful) this.#shown = entry;
        this.#heardAt = heard.seconds;
        this.#render();
        this.#renderLog(entry, isNew);
    }

    #takeReport(report) {
        const isRecent = ({ seconds }) => seconds > report.seconds - recentSeconds - 0.25;
        this.#reports = [...this.#reports.filter(isRecent), report];
        this.#render();
        this.#showLevel(report.bandDbfs);
        this.#showFigures();
    }

    /** What the page says now: {title, text, figure}. */
    #words() {
        switch (this.#state) {
            case 'asking':
                return asking;
            case 'starting':
                return starting;
            case 'paused':
                return paused[this.#detail];
            case 'failed':
                return wordsForFailure(this.#detail);
            case 'listening':
                return this.#advice();
            default:
                return idle;
        }
    }

    #advice() {
        const report = this.#reports.at(-1);
        if (!report || this.#isQuiet(report)) return listening;
        const reason = report.recentReason === 'heard' ? 'no_burst' : report.recentReason;
        const earlier = report.seconds > recentSeconds + 0.5 ? this.#reports[0] : undefined;
        return adviceOn(reason, report, this.#device?.processing, earlier);
    }

    /** Whether nothing is to be said: it is early, or a PIN is there and nothing is the matter. */
    #isQuiet({ seconds, recentReason }) {
        if (this.#shown)
            return (
                ['heard', 'no_burst', 'silent'].includes(recentReason) ||
                seconds < this.#heardAt + adviceSeconds
            );
        return seconds < (recentReason === 'silent' ? silencePatienceSeconds : patienceSeconds);
    }

    #render() {
        const words = this.#words();
        const { title, text, figure = '' } = words;
        const isHeard = this.#shown !== null;
        element('receive-view').dataset.state = this.#state;
        element('to-receive').toggleAttribute('data-busy', this.#state === 'listening');
        element('pairing').hidden = !isHeard;
        if (isHeard) this.#renderPairing(this.#shown);
        // Once a PIN is there, it is all that needs to be said while nothing else is the matter.
        const saysMore = !isHeard || ![idle, listening].includes(words);
        element('headline').hidden = element('explanation').hidden = !saysMore;
        // A figure changes too often to be read out each time.
        if (element('headline').textContent !== title) setText('spoken-figure', figure);
        setText('headline', title);
        setText('explanation', text);
        const isStrength = isHeard && (!saysMore || this.#shown.isDoubtful);
        setText('figure', isStrength ? this.#strengthOf(this.#shown) : figure);
        this.#renderButton();
        element('privacy').hidden = this.#state !== 'idle' || isHeard;
        element('sound').hidden = !['listening', 'paused'].includes(this.#state);
    }

    #renderPairing({ message, isDoubtful }) {
        if (element('pin').textContent !== message.pin) {
            element('pin').textContent = message.pin;
            element('pin').style.setProperty('--digits', Math.max(message.pin.length, 4));
        }
        setText('octets', message.octets);
        setText('text', `“${message.text}”`);
        element('text-line').hidden = message.text === '';
        const asText = message.text ? ` As text: ${message.text}.` : '';
        setText(
            'spoken',
            `PIN ${spelled(message.pin)}. Address ends in ${spelled(message.octets)}.${asText}` +
                (isDoubtful ? ` ${doubt}` : ''),
        );
    }

    #strengthOf(entry) {
        if (entry.isDoubtful) return doubt;
        return `Heard ${timesWord(entry.bursts)}, ${strengthWord(entry.snrDb)}.`;
    }

    #renderButton() {
        const button = element('listen');
        const names = {
            asking: 'Cancel',
            starting: 'Cancel',
            listening: 'Stop',
            paused: 'Continue',
            failed: 'Try again',
        };
        setText('listen', names[this.#state] ?? (this.#shown ? 'Listen again' : 'Listen'));
        element('stop').hidden = this.#state !== 'paused';
        const isFirst = ['idle', 'asking', 'starting'].includes(this.#state) && !this.#shown;
        button.toggleAttribute('data-round', isFirst);
        button.toggleAttribute('data-running', this.#state === 'listening');
    }

    /** Changes the one entry that a burst belongs to. */
    #renderLog(entry, isNew) {
        const list = element('log-list');
        element('log').hidden = false;
        if (isNew) list.prepend(entryItem(entry));
        else
            setText(
                list.children[this.#log.entries.indexOf(entry)].lastChild,
                figuresOfEntry(entry),
            );
        while (list.children.length > this.#log.entries.length) list.lastChild.remove();
    }

    #showLevel(level) {
        const [low, high] = meterRangeDb;
        const shown = Math.min(Math.max(level, low), high);
        element('meter-bar').style.transform = `scaleX(${(shown - low) / (high - low)})`;
        const meter = element('meter');
        if (meter.getAttribute('aria-valuetext') === decibels(level)) return;
        meter.setAttribute('aria-valuenow', shown.toFixed(0));
        meter.setAttribute('aria-valuetext', decibels(level));
        setText('level-figure', decibels(level));
    }

    #showFigures() {
        const report = this.#reports.at(-1);
        if (!report || !element('figures').open) return;
        const rows = figuresOf(report, this.#device).flatMap(([name, value]) => [
            Object.assign(document.createElement('dt'), { textContent: name }),
            Object.assign(document.createElement('dd'), { textContent: value }),
        ]);
        element('figure-list').replaceChildren(...rows);
    }
}

/** Leaves what is the same, so that nothing is read out twice. */
function setText(place, text) {
    const node = typeof place === 'string' ? element(place) : place;
    if (node.textContent !== text) node.textContent = text;
}

function entryItem(entry) {
    const { message } = entry;
    const item = document.createElement('li');
    const name = Object.assign(document.createElement('p'), { className: 'entry-message' });
    const more = Object.assign(document.createElement('span'), {
        textContent: `Address ends in ${message.octets}`,
    });
    if (message.text) {
        const text = document.createElement('bdi'); // letters from right to left order none beside
        text.textContent = `“${message.text}”`;
        more.append(', as text ', text);
    }
    name.append(`PIN ${message.pin}`, more);
    const time = Object.assign(document.createElement('time'), {
        className: 'entry-time',
        dateTime: entry.date.toISOString(),
        textContent: entry.date.toLocaleTimeString(),
    });
    const figures = Object.assign(document.createElement('p'), {
        className: 'entry-figures',
        textContent: figuresOfEntry(entry),
    });
    item.append(name, time, figures);
    return item;
}

function figuresOfEntry(entry) {
    const { bursts, copies, snrDb, levelDbfs, isDoubtful, message } = entry;
    const word = isDoubtful ? 'doubtful' : strengthWord(snrDb);
    const sum = copies > 1 ? `, summed from ${copies}` : '';
    const figures = `${decibels(snrDb)} over noise, level ${decibels(levelDbfs)}${sum}`;
    return `${timesWord(bursts)}, ${word}: ${figures} · ${message.nbits} bits ${message.hex}`;
}

function figuresOf(report, { sampleRate, processing }) {
    return [
        ['Time', `${report.seconds.toFixed(1)} s`],
        ['Reason', report.recentReason],
        ['Level', decibels(report.levelDbfs)],
        ['Peak', decibels(report.peakDbfs)],
        ['At 18 to 20 kHz', decibels(report.bandDbfs)],
        [
            'Sound ends at',
            report.bandEdgeHz > 0 ? `${(report.bandEdgeHz / 1000).toFixed(1)} kHz` : 'no edge',
        ],
        ['Bursts heard', String(report.heard)],
        ['Bursts not read', String(report.unread)],
        ['Missing', report.unread > 0 ? decibels(report.missingDb) : 'nothing'],
        ['Samples cut off', String(report.clippedFrames)],
        ['Samples lost', String(report.lostFrames + report.lateFrames)],
        ['Sample rate', `${sampleRate} Hz`],
        ['Voice processing', processing.length > 0 ? processing.join(', ') : 'off'],
    ];
}
