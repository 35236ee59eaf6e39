// The last columns of a spectrum as a picture that scrolls. They lie in a ring, so that a new one costs
// its own pixels, and the whole picture two copies, whatever its age.

export class SpectrumRing {
    #columns;
    #rows;
    #levels; // of all columns, 0 to 255, to be coloured anew
    #palette;
    #picture;
    #pixels; // of one column

    /** @param palette  256 colours as a canvas has them */
    constructor(columns, rows, palette) {
        this.#columns = columns;
        this.#rows = rows;
        this.#levels = new Uint8Array(columns * rows);
        const canvas = document.createElement('canvas');
        canvas.width = columns;
        canvas.height = rows;
        this.#picture = canvas.getContext('2d');
        this.#pixels = this.#picture.createImageData(1, rows);
        this.recolour(palette);
    }

    /** Sets a column, counted without end, to levels from the lowest row to the highest. */
    write(column, levels) {
        const place = column % this.#columns;
        this.#levels.set(levels, place * this.#rows);
        this.#paint(place);
    }

    recolour(palette) {
        this.#palette = palette;
        for (let place = 0; place < this.#columns; ++place) this.#paint(place);
    }

    #paint(place) {
        const pixels = new Uint32Array(this.#pixels.data.buffer);
        const first = place * this.#rows;
        for (let row = 0; row < this.#rows; ++row)
            pixels[this.#rows - 1 - row] = this.#palette[this.#levels[first + row]];
        this.#picture.putImageData(this.#pixels, place, 0);
    }

    /** Fills a canvas, with column `last` at its right. */
    drawTo(picture, last) {
        const { width, height } = picture.canvas;
        const oldest = (last + 1) % this.#columns;
        const behind = this.#columns - oldest;
        const split = (behind * width) / this.#columns;
        const ring = this.#picture.canvas;
        picture.drawImage(ring, oldest, 0, behind, this.#rows, 0, 0, split, height);
        if (oldest > 0)
            picture.drawImage(ring, 0, 0, oldest, this.#rows, split, 0, width - split, height);
    }
}
