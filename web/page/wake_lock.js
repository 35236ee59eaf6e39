// Keeps the screen on while something listens or plays, where the browser can: a phone that locks
// itself takes the microphone away. Systems drop the lock of a page that is hidden; it is asked for
// again when the page comes back.

const holders = new Set();
let lock = null;

async function update() {
    if (!navigator.wakeLock || document.hidden) return;
    if (holders.size === 0) {
        const held = lock;
        lock = null;
        await held?.release();
        return;
    }
    if (lock && !lock.released) return;
    try {
        lock = await navigator.wakeLock.request('screen');
    } catch {
        return; // the battery is low, or the system has it so
    }
    if (holders.size === 0) update();
}

/** Keeps the screen on until the same holder lets go. */
export function keepScreenOn(holder) {
    holders.add(holder);
    update();
}

export function letScreenSleep(holder) {
    holders.delete(holder);
    update();
}

document.addEventListener('visibilitychange', update);
