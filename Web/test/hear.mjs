// In pages: what is heard. The sound of the counter clip says by its pitch at what time of the clip it is: 500 Hz, and
// 1000 Hz more each second.
import { until, wait } from './view.mjs';

let analyser = null;

/** Looks in on whatever is connected to the loudspeakers from now on. */
export function listen() {
    const connect = AudioNode.prototype.connect;
    AudioNode.prototype.connect = function (to, ...rest) {
        if (to instanceof AudioDestinationNode) {
            analyser = new AnalyserNode(to.context, { fftSize: 2048, smoothingTimeConstant: 0 });
            connect.call(this, analyser);
        }
        return connect.call(this, to, ...rest);
    };
}

/** The loudest pitch, in Hz, and how loud it is, in dB; null: silence. */
function hear() {
    const loudness = new Float32Array(analyser.frequencyBinCount);
    analyser.getFloatFrequencyData(loudness);
    const peak = loudness.indexOf(Math.max(...loudness));
    if (!(loudness[peak] > -60) || peak === 0) {
        return null;
    }
    // The peak lies between the bins, on a parabola through three of them.
    const [a, b, c] = loudness.subarray(peak - 1, peak + 2);
    const bin = peak + (a - c) / (2 * (a - 2 * b + c));
    return { pitch: bin * analyser.context.sampleRate / analyser.fftSize, loudness: loudness[peak] };
}

/** For how many seconds what is heard is ahead of the player's time: the median, and the spread of most of the looks;
 * how loud it is, the share of looks that found silence, and the player's seconds for each one that passed. */
async function lookAtSound(player, seconds) {
    const [leads, loudness] = [[], []];
    let [looks, silent] = [0, 0];
    const begin = { at: performance.now(), time: player.currentTime };
    while (performance.now() - begin.at < seconds * 1000) {
        await wait(15);
        looks++;
        const found = analyser === null ? null : hear();
        if (found === null) {
            silent++;
            continue;
        }
        loudness.push(found.loudness);
        const { context } = analyser;
        const { contextTime, performanceTime } = context.getOutputTimestamp();
        const heard = contextTime + (performance.now() - performanceTime) / 1000;
        const looked = context.currentTime - analyser.fftSize / 2 / context.sampleRate;
        leads.push((found.pitch - 500) / 1000 + heard - looked - player.currentTime);
    }
    const passed = (performance.now() - begin.at) / 1000;
    const at = (values, share) => values.sort((a, b) => a - b)[Math.floor(share * values.length)];
    return {
        lead: at(leads, 0.5),
        spread: at(leads, 0.9) - at(leads, 0.1),
        loudness: at(loudness, 0.5),
        silent: silent / looks,
        rate: (player.currentTime - begin.time) / passed,
    };
}

/** Plays a clip with sound, and looks at it at several places. Frames are 1/30 s. */
export async function playWithSound(view) {
    const { player } = view;
    const last = () => view.drawn.at(-1).number;
    const lookFrom = async (frame, seconds) => {
        await player.seekToFrame(frame);
        await wait(100);
        return lookAtSound(player, seconds);
    };
    await player.seekToFrame(45);
    await player.play();
    await wait(100);
    const start = await lookAtSound(player, 0.8);
    const back = await lookFrom(5, 0.6); // further than sound is kept
    const again = await lookFrom(65, 0.3); // sound that has been heard before
    const step = await lookFrom(last() + 4, 0.2); // a frame that is there already
    await until(() => last() < 10);
    await wait(100);
    const round = await lookAtSound(player, 0.6);
    player.muted = true;
    await wait(200);
    const muted = await lookAtSound(player, 0.2);
    player.muted = false;
    await wait(200);
    const unmuted = await lookAtSound(player, 0.3);
    player.pause();
    return { sounding: { start, back, step, again, round, unmuted }, muted, drawn: view.drawn };
}
