// Starts the page: its two sides, of which the address says which is seen.
import { keepOffline } from './offline.js';
import { ReceiveView } from './receive_view.js';
import { SendView } from './send_view.js';

const element = (id) => document.getElementById(id);

function showSide() {
    const isSending = location.hash === '#send';
    element('send-view').hidden = !isSending;
    element('receive-view').hidden = isSending;
    for (const [id, isCurrent] of [
        ['to-receive', !isSending],
        ['to-send', isSending],
    ])
        if (isCurrent) element(id).setAttribute('aria-current', 'page');
        else element(id).removeAttribute('aria-current');
}

function showConnection() {
    element('offline').textContent = navigator.onLine ? '' : 'No network: this page needs none.';
}

// After a change of versions nothing is to be fetched by the old one; what runs ends before.
let isOld = false;
let isWanted = false; // by a press, whatever runs

function leaveOld() {
    if (isOld && views.every((view) => view.isIdle)) location.reload();
}

const views = [new ReceiveView(leaveOld), new SendView(leaveOld)];
document.documentElement.toggleAttribute('data-started', true);
showSide();
showConnection();
addEventListener('hashchange', showSide);
addEventListener('online', showConnection);
addEventListener('offline', showConnection);
keepOffline(
    (change) => {
        element('update').hidden = false;
        element('reload').onclick = () => {
            change();
            isWanted = true;
        };
    },
    () => {
        isOld = true;
        if (isWanted) location.reload();
        else leaveOld();
    },
);
