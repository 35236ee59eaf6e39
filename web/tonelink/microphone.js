// Opens a microphone so that the band of the bursts arrives.

import { ToneLinkError } from './errors.js';

const denied = ['permission-denied', 'the microphone may not be used'];
const missing = ['no-microphone', 'there is no such microphone'];
const busy = ['microphone-busy', 'the microphone cannot be read'];
const codes = {
    NotAllowedError: denied,
    SecurityError: denied,
    NotFoundError: missing,
    OverconstrainedError: missing,
    NotReadableError: busy,
    AbortError: busy,
};

/**
 * Asks for the microphone with all processing for voices off.
 * @param options  deviceId: which one, of enumerateDevices()
 */
export async function openMicrophone({ deviceId } = {}) {
    // A page that is not served safely has no such interface.
    if (globalThis.navigator?.mediaDevices?.getUserMedia === undefined)
        throw new ToneLinkError('insecure-page', 'microphones need a page by HTTPS or on localhost');
    const audio = { echoCancellation: false, noiseSuppression: false, autoGainControl: false };
    if (deviceId !== undefined) audio.deviceId = { exact: deviceId };
    try {
        return await navigator.mediaDevices.getUserMedia({ audio });
    } catch (error) {
        const [code, text] = codes[error.name] ?? ['microphone-failed', 'the microphone failed'];
        throw new ToneLinkError(code, `${text}: ${error.message}`, error);
    }
}

/** What a stream's device does to sound that it was asked not to do: names of settings. */
export function processingOf(stream) {
    const settings = stream.getAudioTracks()[0]?.getSettings() ?? {};
    const all = ['echoCancellation', 'noiseSuppression', 'autoGainControl'];
    return all.filter((name) => settings[name] === true);
}
