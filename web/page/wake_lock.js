// Keeps the screen on while something listens or plays, where the browser can: a phone that locks
// itself takes the microphone away. Systems drop the lock of a page that is hidden; it is asked for
// again when the page comes back.

const holders = new Set();
let lock = null;
let isUpdating = false;

/** One request at a time, or a lock is lost; what changes meanwhile is seen when it is answered. */
async function update() {
    if (!navigator.wakeLock || isUpdating) return;
    isUpdating = true;
    try {
        for (;;) {
            const isHeld = lock !== null && !lock.released;
            if (holders.size === 0 && isHeld) await lock.release();
            else if (holders.size > 0 && !isHeld && !document.hidden)
                lock = await navigator.wakeLock.request('screen');
            else break;
        }
    } catch {
        // The battery is low, or the system has it so.
    }
    isUpdating = false;
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
