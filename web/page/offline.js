// Keeps the page on the device, so that it opens without a network from the second time on.

/**
 * @param onupdate  called with a function that changes to a new version, when one is there
 * @param onchange  called when that was done, in this tab or another: this page is to be loaded again
 */
export async function keepOffline(onupdate, onchange) {
    if (!navigator.serviceWorker) return;
    const { serviceWorker } = navigator;
    let isKept = serviceWorker.controller !== null; // or it is the first version that takes over
    serviceWorker.addEventListener('controllerchange', () => {
        if (isKept) onchange();
        isKept = true;
    });
    try {
        const registration = await serviceWorker.register('service_worker.js');
        const tell = (worker) => {
            if (worker?.state !== 'installed' || !serviceWorker.controller) return;
            onupdate(() => worker.postMessage('take over'));
        };
        tell(registration.waiting);
        registration.addEventListener('updatefound', () => {
            const worker = registration.installing;
            worker.addEventListener('statechange', () => tell(worker));
        });
    } catch {
        // No network, or a browser that keeps nothing: the page works all the same.
    }
}
