// What a message means to people: a pairing, and a text where its bytes are one. The command reads
// and writes messages by the same rules; here a text must also be one that is seen.
import { pairingMessage as pairingOf, readPairing } from '../tonelink/index.js';

// Control and formatting characters, separators of lines, and what is no character.
const notPrintable = /[\p{C}\p{Zl}\p{Zp}]/u;

// No sign of its own: spaces and fillers alone, or a mark that would sit on what stands before.
const notVisible = /^(\p{M}|[\p{Z}\u115f\u1160\u2800\u3164\uffa0]*$)/u;

const hexOf = (bytes) =>
    Array.from(bytes, (byte) => byte.toString(16).toUpperCase().padStart(2, '0')).join('');

/** The text that bytes are, without the zeros behind it; empty where none is to be seen. */
function textOf(bytes) {
    let length = bytes.length;
    while (length > 0 && bytes[length - 1] === 0) --length;
    try {
        const decoder = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true });
        const text = decoder.decode(bytes.slice(0, length));
        return notPrintable.test(text) || notVisible.test(text) ? '' : text;
    } catch {
        return '';
    }
}

/** What a message of four or six bytes says, whichever it is: {pin, octets, hex, text, nbits}. */
export function readMessage(bytes) {
    const { pin, octets } = readPairing(bytes);
    return {
        pin: String(pin),
        octets,
        hex: hexOf(bytes),
        text: textOf(bytes),
        nbits: bytes.length * 8,
    };
}

/** What is wrong with a field of a message to be sent, in words for who filled it in. */
export class FieldError extends Error {
    constructor(field, message) {
        super(message);
        this.field = field;
    }
}

function parsePin(text) {
    const digits = text.trim();
    if (!/^\d{1,10}$/.test(digits) || Number(digits) > 0xffffffff)
        throw new FieldError('pin', 'A PIN is a number from 0 to 4294967295.');
    return Number(digits);
}

/** An address in full: given so, or as its last two octets alone, or not at all. */
function parseAddress(text) {
    const address = text.trim() || '00:00';
    if (!/^[\da-f]{2}:[\da-f]{2}$|^([\da-f]{2}:){5}[\da-f]{2}$/i.test(address))
        throw new FieldError(
            'address',
            'Write the address as AA:BB:CC:DD:EE:FF, or its end as EE:FF.',
        );
    return address.length === 5 ? `00:00:00:00:${address}` : address;
}

/** The message of a pairing: in 32 bits where its PIN fits, else in 48. */
export function pairingMessage(pinText, addressText) {
    const pin = parsePin(pinText);
    return pairingOf(pin, parseAddress(addressText), pin > 0xffff ? 48 : 32);
}

/** The message of a text: in 32 bits where it fits, else in 48, with zeros behind it. */
export function textMessage(text) {
    const encoded = new TextEncoder().encode(text);
    if (encoded.length === 0) throw new FieldError('text', 'Write one to six letters.');
    if (encoded.length > 6)
        throw new FieldError(
            'text',
            `Too long: this takes ${encoded.length} bytes of six. Letters beyond A to Z take two or more.`,
        );
    const bytes = new Uint8Array(encoded.length > 4 ? 6 : 4);
    bytes.set(encoded);
    if (textOf(bytes) !== text)
        throw new FieldError('text', 'Some of this cannot be shown as text.');
    return bytes;
}
