// Keeps this version of the page, all of it, and answers from there alone: an open page never mixes
// two versions, and asks no server. script/web fills in what the version is and what belongs to it.

const version = '@VERSION@';
const files = '@FILES@'.split(' ');
const { scope } = registration; // other copies on the same server keep theirs
const prefix = `tonelink ${scope} `;
const cacheName = prefix + version;
const pages = [scope, `${scope}index.html`];

async function keep() {
    const cache = await caches.open(cacheName);
    await cache.addAll(files.map((file) => new Request(file, { cache: 'reload' })));
}

async function dropOthers() {
    const names = await caches.keys();
    await Promise.all(
        names
            .filter((name) => name.startsWith(prefix) && name !== cacheName)
            .map((name) => caches.delete(name)),
    );
    await clients.claim();
}

async function answer(request) {
    const cache = await caches.open(cacheName);
    const wanted = pages.includes(request.url.split(/[?#]/)[0]) ? './' : request;
    const kept = await cache.match(wanted, { ignoreSearch: true, ignoreVary: true });
    return kept ?? fetch(request);
}

addEventListener('install', (event) => event.waitUntil(keep()));
addEventListener('activate', (event) => event.waitUntil(dropOthers()));
addEventListener('message', ({ data }) => {
    if (data === 'take over') skipWaiting();
});
addEventListener('fetch', (event) => {
    const isOurs = event.request.method === 'GET' && event.request.url.startsWith(scope);
    if (isOurs) event.respondWith(answer(event.request));
});
