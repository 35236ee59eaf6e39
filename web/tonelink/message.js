// What pairing messages hold: a PIN and the last two octets of a Bluetooth address.

import { ToneLinkError } from './errors.js';

function octetsOf(address) {
    const octets = String(address).split(':');
    if (octets.length !== 6 || !octets.every((octet) => /^[0-9a-f]{2}$/i.test(octet)))
        throw new ToneLinkError('bad-argument', `'${address}' is no address such as AA:BB:CC:DD:EE:FF`);
    return octets.map((octet) => Number.parseInt(octet, 16));
}

/** The message of a pairing: of 32 bits with a PIN below 65536, of 48 with one below 2^32. */
export function pairingMessage(pin, address, bits = 32) {
    if (bits !== 32 && bits !== 48)
        throw new ToneLinkError('bad-argument', 'a message has 32 or 48 bits');
    if (!Number.isInteger(pin) || pin < 0 || pin >= 2 ** (bits - 16))
        throw new ToneLinkError('bad-argument', `the PIN ${pin} does not fit into ${bits} bits`);
    const octets = octetsOf(address);
    const message = new Uint8Array(bits / 8);
    const view = new DataView(message.buffer);
    if (bits === 32) view.setUint16(0, pin);
    else view.setUint32(0, pin);
    message.set(octets.slice(4), bits / 8 - 2);
    return message;
}

/** A message read as a pairing's: the PIN, and "EE:FF". */
export function readPairing(message) {
    const view = new DataView(message.buffer, message.byteOffset, message.length);
    const hex = (byte) => byte.toString(16).toUpperCase().padStart(2, '0');
    return {
        pin: message.length === 4 ? view.getUint16(0) : view.getUint32(0),
        octets: `${hex(message.at(-2))}:${hex(message.at(-1))}`,
    };
}
