// The running picture of the sound from 16 to 22 kHz, with a frame around each burst. It draws on the
// main thread, only while it is seen, and for people who want no motion once a second.
import { SpectrumRing } from './spectrum_ring.js';

const bandHz = [18070, 20140]; // of the bursts
const silenceDb = -150;
const lowestHz = 16000;
const highestHz = 22000;
const transformLength = 2048; // 43 ms at 48 kHz; a symbol has 33
const columnsPerSecond = 40;
const columns = 400; // ten seconds
const stillColumns = columnsPerSecond; // from picture to picture without motion
const burstSeconds = 0.5254;
const rangeDb = 48; // from the noise to the strongest colour
const floorRate = 0.05; // of the way to a column's median
const jumpDb = 30; // another sound begins, with noise of its own
const mostPixelRatio = 2;
const grey = ['ffffff', 'aaaaaa', '555555', '000000'];

/** Colours from the noise to the strongest, and that of frames, as the style sheet has them. */
function readColours(element) {
    const style = getComputedStyle(element);
    const stops = [0, 1, 2, 3].map((i) => {
        const colour = style.getPropertyValue(`--heat-${i}`) || grey[i]; // no style sheet arrived
        const digits = colour.match(/[\da-f]{2}/gi);
        return digits.map((pair) => Number.parseInt(pair, 16));
    });
    const palette = Uint32Array.from({ length: 256 }, (_, i) => {
        const at = (i / 256) * (stops.length - 1);
        const low = stops[Math.floor(at)];
        const high = stops[Math.floor(at) + 1];
        const [r, g, b] = low.map((start, k) => Math.round(start + (at % 1) * (high[k] - start)));
        return (255 << 24) | (b << 16) | (g << 8) | r;
    });
    return { palette, frame: style.getPropertyValue('--burst').trim() };
}

const columnAt = (seconds) => Math.floor(seconds * columnsPerSecond);

export class Spectrogram {
    #canvas;
    #withoutMotion = matchMedia('(prefers-reduced-motion: reduce)');
    #colours;
    #source;
    #splitter = null;
    #analysers; // one of each channel
    #hzPerBin;
    #firstBin;
    #decibels; // of all bins, and those of one channel
    #channelDecibels;
    #levels; // of a column
    #floorDb; // the noise
    #ring = null;
    #column; // the newest
    #drawn; // the newest of the picture
    #bursts;
    #request;

    /** @param canvas  what is drawn on */
    constructor(canvas) {
        this.#canvas = canvas;
        this.#colours = readColours(canvas);
        const scheme = matchMedia('(prefers-color-scheme: dark)');
        scheme.addEventListener('change', () => this.#recolour());
        document.addEventListener('visibilitychange', () => this.#run());
    }

    /** Draws what arrives at a node from now on: of its channels the strongest at each frequency. */
    start(source, channels) {
        this.stop();
        const { context } = source;
        this.#source = source;
        this.#splitter = new ChannelSplitterNode(context, { numberOfOutputs: channels });
        this.#analysers = Array.from({ length: channels }, (_, channel) => {
            const analyser = new AnalyserNode(context, {
                fftSize: transformLength,
                smoothingTimeConstant: 0,
            });
            this.#splitter.connect(analyser, channel);
            return analyser;
        });
        source.connect(this.#splitter);
        this.#hzPerBin = context.sampleRate / transformLength;
        this.#firstBin = Math.round(lowestHz / this.#hzPerBin);
        const lastBin = Math.min(Math.round(highestHz / this.#hzPerBin), transformLength / 2 - 1);
        const rows = lastBin - this.#firstBin + 1;
        this.#decibels = new Float32Array(transformLength / 2);
        this.#channelDecibels = new Float32Array(transformLength / 2);
        this.#levels = new Float32Array(rows);
        this.#floorDb = silenceDb;
        this.#ring = new SpectrumRing(columns, rows, this.#colours.palette);
        this.#column = columnAt(context.currentTime);
        this.#drawn = 0;
        this.#bursts = [];
        this.#run();
    }

    /** Leaves the last picture as it is. */
    stop() {
        if (this.#splitter) this.#source.disconnect(this.#splitter);
        this.#splitter = null;
        cancelAnimationFrame(this.#request);
    }

    /** Marks a burst that began at a moment of the context's time. */
    mark(beginning, label) {
        if (!this.#splitter) return;
        const oldest = (this.#column - columns) / columnsPerSecond - burstSeconds;
        this.#bursts = this.#bursts.filter((burst) => burst.beginning > oldest);
        this.#bursts.push({ beginning, label });
    }

    #run() {
        cancelAnimationFrame(this.#request);
        if (!this.#splitter || document.hidden) return;
        this.#request = requestAnimationFrame(() => {
            this.#advance();
            this.#run();
        });
    }

    /** Brings the ring up to now. Columns that were missed repeat the newest. */
    #advance() {
        const now = columnAt(this.#splitter.context.currentTime);
        if (now === this.#column) return;
        this.#measure();
        const first = Math.max(this.#column + 1, now - columns + 1);
        for (let column = first; column <= now; ++column) this.#ring.write(column, this.#levels);
        this.#column = now;
        if (this.#withoutMotion.matches && now - this.#drawn < stillColumns) return;
        this.#drawn = now;
        this.#draw();
    }

    /** Makes a column's levels, from the noise on, which is the median of what is seen. */
    #measure() {
        this.#decibels.fill(silenceDb);
        for (const analyser of this.#analysers) {
            analyser.getFloatFrequencyData(this.#channelDecibels);
            this.#channelDecibels.forEach((level, bin) => {
                this.#decibels[bin] = Math.max(this.#decibels[bin], level);
            });
        }
        const levels = this.#levels;
        const seen = this.#decibels.subarray(this.#firstBin, this.#firstBin + levels.length);
        levels.set(seen);
        const median = levels.sort()[levels.length >> 1];
        const rate = Math.abs(median - this.#floorDb) > jumpDb ? 1 : floorRate;
        this.#floorDb += rate * (median - this.#floorDb);
        for (let row = 0; row < levels.length; ++row) {
            const share = (seen[row] - this.#floorDb) / rangeDb;
            levels[row] = 255 * Math.min(Math.max(share, 0), 1);
        }
    }

    #recolour() {
        this.#colours = readColours(this.#canvas);
        if (!this.#ring) return;
        this.#ring.recolour(this.#colours.palette);
        this.#draw();
    }

    #draw() {
        const ratio = Math.min(devicePixelRatio, mostPixelRatio);
        const width = Math.round(this.#canvas.clientWidth * ratio);
        const height = Math.round(this.#canvas.clientHeight * ratio);
        if (width === 0 || height === 0) return; // the other side of the page is seen
        if (this.#canvas.width !== width) this.#canvas.width = width;
        if (this.#canvas.height !== height) this.#canvas.height = height;
        const picture = this.#canvas.getContext('2d', { alpha: false });
        this.#ring.drawTo(picture, this.#column);
        this.#drawBursts(picture, ratio);
    }

    #drawBursts(picture, ratio) {
        const { width, height } = picture.canvas;
        const columnWidth = width / columns;
        const xOf = (seconds) =>
            width + (seconds * columnsPerSecond - this.#column - 1) * columnWidth;
        const yOf = (hz) =>
            height * (1 - (hz / this.#hzPerBin - this.#firstBin) / this.#levels.length);
        const margin = 3 * ratio;
        const [bottom, top] = [yOf(bandHz[0]) + margin, yOf(bandHz[1]) - margin];
        picture.strokeStyle = picture.fillStyle = this.#colours.frame;
        picture.lineWidth = 2 * ratio;
        picture.font = `600 ${12 * ratio}px system-ui, sans-serif`;
        let free = width; // of labels, from the left
        for (const { beginning, label } of [...this.#bursts].reverse()) {
            const left = xOf(beginning);
            picture.strokeRect(
                left,
                top,
                burstSeconds * columnsPerSecond * columnWidth,
                bottom - top,
            );
            const labelWidth = picture.measureText(label).width;
            const labelLeft = Math.min(left, width - labelWidth); // or its end would be cut off
            if (label === '' || labelLeft + labelWidth > free) continue;
            picture.fillText(label, labelLeft, top - 5 * ratio);
            free = labelLeft;
        }
    }
}
