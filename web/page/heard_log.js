// What was heard, as people count it: a message that is repeated is one entry, whose bursts add up.
import { readMessage } from './message.js';

const mostEntries = 50;
const exactMethod = 1;
const togetherMs = 300_000; // from a message to itself in one entry

/** A single position of the exact method agrees by chance once in some hours. */
function mayBeChance(heard) {
    return heard.positions === 1 && heard.methods === exactMethod;
}

export class HeardLog {
    // The newest first.
    entries = [];

    /** Takes a burst that was heard. Returns its entry; `entry.bursts` tells whether it is new. */
    add(heard, date) {
        const message = readMessage(heard.message);
        const same = this.entries.find((entry) => entry.message.hex === message.hex);
        const isRepeated = same !== undefined && date - same.lastDate < togetherMs;
        const entry = isRepeated
            ? same
            : { message, date, bursts: 0, copies: 0, isDoubtful: true };
        if (!isRepeated) this.entries = [entry, ...this.entries].slice(0, mostEntries);
        entry.lastDate = date;
        entry.bursts += heard.copies;
        entry.copies = Math.max(entry.copies, heard.copies);
        entry.snrDb = heard.snrDb;
        entry.levelDbfs = heard.levelDbfs;
        entry.isDoubtful &&= mayBeChance(heard);
        return entry;
    }
}
