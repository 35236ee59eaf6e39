// The receiver's reasons and the browser's refusals in words for people who know nothing of sound:
// each says what is the matter and what to do.

const oneDecimal = (number) => number.toFixed(1);

/** Decibels as what people can do about them: half the distance is 6 dB in the open. */
function nearer(missingDb) {
    if (missingDb <= 3) return 'A step nearer should do.';
    if (missingDb <= 8) return 'Go to half the distance.';
    return 'Go close to the television.';
}

const share = (part, whole) => `${oneDecimal((100 * part) / whole)} %`;

const lostOf = ({ lostFrames, lateFrames }) => lostFrames + lateFrames;
const wholeOf = ({ frames, lateFrames }) => frames + lateFrames;

// A television's programme may end here by itself while nothing is sent.
const PROGRAMME_EDGE_HZ = 14000;

function whyTheyAreMissing({ processing, bandEdgeHz }) {
    if (processing.length > 0)
        return 'This browser treats the sound as a call and drops the high tones that carry the PIN. Try another browser.';
    if (bandEdgeHz >= PROGRAMME_EDGE_HZ)
        return 'Does the television show its PIN now? A programme alone has no tones that high. If it does, disconnect headsets, close apps that make calls, or try another browser.';
    return 'This device or browser drops the high tones that carry the PIN. Disconnect headsets, close apps that make calls, or try another browser.';
}

// What stands in the way, by the reason's word: `title` and `text` stay as they are while the
// reason does, `figure` may change from report to report.
const advice = {
    no_burst: () => ({
        title: 'Nothing heard yet',
        text: 'Sound arrives, but no signal is in it. Does the television show its PIN now? Go nearer and point the lower edge of the phone at it.',
        figure: '',
    }),
    silent: () => ({
        title: 'No sound arrives',
        text: 'The microphone gives nothing at all. Is it switched off, covered or unplugged? Look for a switch on the device and in its settings, then stop and listen again.',
        figure: '',
    }),
    clipped: (report) => ({
        title: 'Too loud',
        text: 'The sound is so loud that it is cut off. Go away from the loudspeaker, or turn the volume down.',
        figure: `${share(report.clippedFrames, report.frames)} of the sound is cut off.`,
    }),
    band_cut: (report) => ({
        title: 'High tones are missing',
        text: whyTheyAreMissing(report),
        figure:
            report.isWhole && report.bandEdgeHz > 0
                ? `Sound ends at ${oneDecimal(report.bandEdgeHz / 1000)} kHz; the signal begins at 18.1.`
                : '',
    }),
    too_weak: (report) =>
        report.missingDb > 0 || !report.isWhole
            ? {
                  title: 'Too faint',
                  text: 'The signal is there, but too faint to be read. Go nearer, or turn the television up.',
                  figure: report.isWhole
                      ? `${oneDecimal(report.missingDb)} dB are missing. ${nearer(report.missingDb)}`
                      : '',
              }
            : {
                  title: 'Not clear enough',
                  text: 'The signal is there, but echoes or other sounds are in the way. Go nearer, and hold the phone still.',
                  figure: '',
              },
    clock: (report) => ({
        title: 'At the wrong speed',
        text: 'A signal is there, but faster or slower than it should be. If a recording is played, play it at its own speed.',
        figure:
            report.isWhole && report.unreadPpm !== 0
                ? `It is off by ${(Math.abs(report.unreadPpm) / 10000).toFixed(2)} %.`
                : '',
    }),
    samples_lost: (report) => ({
        title: 'This device is too busy',
        text: 'Parts of the sound are lost before they can be read. Close other apps and tabs.',
        figure: `${share(lostOf(report), wholeOf(report))} of the sound was lost.`,
    }),
};

const started = { frames: 0, clippedFrames: 0, lostFrames: 0, lateFrames: 0 };
const mostLost = 0.05; // of the sound, as the receiver has it

/**
 * What stands in the way by a report, of which `reason` is that of the last five seconds. Figures are
 * of these, too; those of the whole stream are told where its reason is the same.
 * @param processing  what is done to the sound unasked, by processingOf()
 * @param earlier  the report of five seconds before, if there is one
 */
export function adviceOn(reason, report, processing = [], earlier = started) {
    const recent = { ...report, isWhole: report.reason === reason, processing };
    for (const name of Object.keys(started)) recent[name] -= earlier[name];
    const isLate = recent.lateFrames > 0 && lostOf(recent) > mostLost * wholeOf(recent);
    return (advice[isLate ? 'samples_lost' : reason] ?? advice.no_burst)(recent);
}

const oldBrowser = {
    title: 'This browser is too old',
    text: 'It cannot work on sound as it comes. Update it, or open this page in another one.',
};
const lowQuality = {
    title: 'This microphone cannot hear so high',
    text: 'It works at a low quality, as headsets for calls do. Disconnect the headset or choose the microphone of the phone itself, then try again.',
};

const failures = {
    'permission-denied': {
        title: 'The microphone is not allowed',
        text: 'Allow it for this page: press the icon beside the address, or look in the settings of the browser and of the device. Then try again.',
    },
    'no-microphone': {
        title: 'There is no microphone',
        text: 'The browser finds none. Plug one in, or open this page on a phone.',
    },
    'microphone-busy': {
        title: 'The microphone is in use',
        text: 'Another app has it, a call perhaps. Close that app, then try again.',
    },
    'microphone-ended': {
        title: 'The microphone is gone',
        text: 'It was unplugged or taken away. Plug it in again, then try again.',
    },
    'insecure-page': {
        title: 'This address is not secure',
        text: 'Browsers give the microphone only to pages whose address begins with https. Open this page that way.',
    },
    'no-module': {
        title: 'A part of this page is missing',
        text: 'It did not arrive. Is there a network? Then try again.',
    },
    'no-memory': {
        title: 'This device is full',
        text: 'There is too little memory. Close other apps and tabs, then try again.',
    },
    'low-rate': lowQuality,
    'low-output-rate': {
        title: 'This loudspeaker cannot play so high',
        text: 'It works at a low quality, as headsets for calls do. Disconnect the headset, then try again.',
    },
    'rate-mismatch': {
        title: 'This browser cannot use this microphone',
        text: 'Choose another microphone, or open this page in another browser.',
    },
    'no-audioworklet': oldBrowser,
    'no-simd': oldBrowser,
    'no-webassembly': {
        title: 'This browser forbids a part of this page',
        text: 'WebAssembly is off, by a mode of high protection perhaps. Allow it for this page, or open the page in another browser.',
    },
};

const unknownFailure = {
    title: 'That did not work',
    text: 'The browser gives no reason that this page knows. Load the page again.',
};

/** A failure in words, by its code. */
export function wordsForFailure(code) {
    return failures[code] ?? unknownFailure;
}

/** How well a burst was heard. */
export function strengthWord(snrDb) {
    if (snrDb < 3) return 'barely heard';
    if (snrDb < 10) return 'faint';
    if (snrDb < 20) return 'clear';
    return 'very clear';
}

export function timesWord(bursts) {
    if (bursts === 1) return 'once';
    return bursts === 2 ? 'twice' : `${bursts} times`;
}

/** Characters one by one, as a screen reader should say them. */
export const spelled = (text) => Array.from(text).join(' ');
