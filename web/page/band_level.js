// The level in the bursts' band from an analyser's spectrum, many times a second: what the
// receiver's report says ten times a second at best.

export const bandHz = [18070, 20140];

// The mean square of the Blackman window that analysers have.
const windowPower = 0.42 ** 2 + 0.5 ** 2 / 2 + 0.08 ** 2 / 2;

export const silenceDb = -150;

/**
 * The level in dB of a sine of full scale.
 * @param decibels  an analyser's getFloatFrequencyData()
 * @param hzPerBin  from one of these to the next
 */
export function bandLevel(decibels, hzPerBin) {
    const [first, last] = bandHz.map((hz) => Math.round(hz / hzPerBin));
    let power = 0;
    for (let bin = first; bin <= last; ++bin) power += 10 ** (decibels[bin] / 10);
    // Half of a sine's power is at the negative frequency, and its amplitude is told as half.
    return Math.max(silenceDb, 10 * Math.log10((4 * power) / windowPower));
}
