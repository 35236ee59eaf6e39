// The sending side of the page: a form for the message, and what a person sees of a Player.
import { FieldError, pairingMessage, readMessage, textMessage } from './message.js';
import { Player } from './player.js';
import { keepScreenOn, letScreenSleep } from './wake_lock.js';
import { timesWord, wordsForFailure } from './words.js';

const element = (id) => document.getElementById(id);

const idle = {
    title: 'Play a PIN to another phone',
    text: 'Turn the media volume up, and hold the phones towards each other.',
};
const starting = { title: 'Starting', text: 'The sound is being made.' };
const paused = {
    title: 'Paused',
    text: 'The browser has stopped the sound, for a call perhaps. Press “Continue”.',
};
const countMs = 250;

/** A text that orders no letters beside it. */
function isolated(text) {
    const node = document.createElement('bdi');
    node.textContent = text;
    return node;
}

function randomPin() {
    const [number] = crypto.getRandomValues(new Uint32Array(1));
    return String(1000 + (number % 9000));
}

export class SendView {
    #onidle;
    #state = 'stopped';
    #player = new Player((state) => this.#enter(state));
    #form = element('send-form');
    #message; // that is played, as readMessage() tells it
    #counting;

    /** @param onidle  called when nothing is sent any more */
    constructor(onidle) {
        this.#onidle = onidle;
        element('pin-field').value = randomPin();
        this.#form.addEventListener('submit', (event) => {
            event.preventDefault();
            this.#press();
        });
        element('stop-sending').addEventListener('click', () => this.#player.stop());
        for (const choice of this.#form.elements.kind)
            choice.addEventListener('change', () => this.#showFields());
        element('level-field').addEventListener('input', () => this.#showLevel());
        for (const field of ['pin', 'address', 'text'])
            element(`${field}-field`).addEventListener('input', () => this.#showError(field, ''));
        this.#showFields();
        this.#showLevel();
        this.#render(idle);
    }

    get isIdle() {
        return this.#state === 'stopped';
    }

    get #isText() {
        return this.#form.elements.kind.value === 'text';
    }

    #press() {
        if (['starting', 'playing'].includes(this.#state)) this.#player.stop();
        else if (this.#state === 'paused') this.#player.resume();
        else this.#play();
    }

    async #play() {
        const message = this.#takeMessage();
        if (!message) return;
        this.#message = readMessage(message);
        try {
            await this.#player.play(message, {
                levelDb: Number(element('level-field').value),
                isLooped: element('loop-field').checked,
            });
        } catch (error) {
            this.#render(wordsForFailure(error.code));
        }
    }

    /** The message of the form, or nothing where a field says what is wrong. */
    #takeMessage() {
        for (const field of ['pin', 'address', 'text']) this.#showError(field, '');
        try {
            return this.#isText
                ? textMessage(element('text-field').value)
                : pairingMessage(element('pin-field').value, element('address-field').value);
        } catch (error) {
            if (!(error instanceof FieldError)) throw error;
            this.#showError(error.field, error.message);
            element(`${error.field}-field`).focus();
            return null;
        }
    }

    #enter(state) {
        this.#state = state;
        clearInterval(this.#counting);
        if (state === 'stopped') {
            letScreenSleep(this);
        } else {
            keepScreenOn(this);
            this.#counting = setInterval(() => this.#showCount(), countMs);
        }
        const words = { stopped: idle, starting, paused };
        this.#render(words[state] ?? this.#playing());
        this.#showCount();
        if (this.isIdle) this.#onidle();
    }

    #playing() {
        const { pin, octets, text, hex } = this.#message;
        const title = ['Sending ', this.#isText ? isolated(`“${text || hex}”`) : `PIN ${pin}`];
        const address = this.#isText ? '' : `The address ends in ${octets}. `;
        return { title, text: `${address}Most people hear nothing of it.` };
    }

    #render({ title, text }) {
        element('send-headline').replaceChildren(...[title].flat());
        element('send-explanation').textContent = text;
        const names = { starting: 'Stop', playing: 'Stop', paused: 'Continue' };
        element('play').textContent = names[this.#state] ?? 'Send';
        element('play').toggleAttribute('data-running', this.#state === 'playing');
        element('to-send').toggleAttribute('data-busy', this.#state === 'playing');
        element('stop-sending').hidden = this.#state !== 'paused';
        // A field that goes must not take the keyboard's place with it.
        if (element('send-fields').contains(document.activeElement) && this.#state !== 'stopped')
            element('play').focus();
        element('send-fields').hidden = this.#state !== 'stopped';
    }

    #showCount() {
        const { copies } = this.#player;
        element('send-count').textContent = copies > 0 ? `Played ${timesWord(copies)}.` : '';
    }

    #showFields() {
        element('pairing-fields').hidden = this.#isText;
        element('text-fields').hidden = !this.#isText;
    }

    #showLevel() {
        const { value } = element('level-field');
        const text = value === '0' ? 'full' : `${value.replace('-', '−')} dB`;
        element('level-output').textContent = text;
        element('level-field').setAttribute('aria-valuetext', text);
    }

    #showError(field, message) {
        element(`${field}-error`).textContent = message;
        element(`${field}-field`).setAttribute('aria-invalid', String(message !== ''));
    }
}
