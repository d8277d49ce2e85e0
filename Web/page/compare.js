// The curves, drawn from the report that stands in this page, and the mesh with the error on it.
const report = JSON.parse(document.getElementById('report').textContent);
const SVG = 'http://www.w3.org/2000/svg';

function make(name, attributes, parent) {
    const element = document.createElementNS(SVG, name);
    for (const [key, value] of Object.entries(attributes)) {
        element.setAttribute(key, value);
    }
    parent.append(element);
    return element;
}

/** 1, 2 or 5 times a power of ten, at least `least`. */
function roundStep(least) {
    const power = 10 ** Math.floor(Math.log10(least));
    return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= least * (1 - 1e-9));
}

class Chart {
    static #width = 480;
    static #height = 190;
    static #left = 46;
    static #right = 8;
    static #top = 8;
    static #bottom = 22;

    constructor(title, unit, fromZero, names) {
        this.names = names;
        this.unit = unit;
        this.frames = report.frames;
        const values = this.frames.flatMap((frame) => names.map((name) => frame[name])).filter(Number.isFinite);
        if (values.length === 0) {
            return;
        }
        const figure = document.createElement('figure');
        figure.className = 'chart';
        const heading = document.createElement('h3');
        heading.textContent = unit ? `${title}, ${unit}` : title;
        this.keys = document.createElement('figcaption');
        figure.append(heading, this.keys);
        this.svg = make('svg', { viewBox: `0 0 ${Chart.#width} ${Chart.#height}`, role: 'img', 'aria-label': title }, figure);
        this.#scale(values, fromZero);
        this.#axes();
        names.forEach((name, i) => this.#curve(name, i));
        this.mark = make('line', { y1: Chart.#top, y2: Chart.#height - Chart.#bottom, stroke: 'var(--faint)', visibility: 'hidden' }, this.svg);
        this.svg.addEventListener('pointermove', (event) => this.#show(event));
        this.svg.addEventListener('pointerleave', () => this.#label(null));
        this.#label(null);
        document.getElementById('charts').append(figure);
    }

    #scale(values, fromZero) {
        const low = fromZero ? 0 : Math.min(...values), high = Math.max(...values);
        const span = Math.max(high - low, Math.abs(high) * 1e-3, 1e-6);
        this.step = roundStep(span / 4);
        this.low = Math.floor(low / this.step + 1e-9) * this.step;
        this.high = Math.max(Math.ceil(high / this.step - 1e-9) * this.step, this.low + this.step);
    }

    #x(i) {
        const width = Chart.#width - Chart.#left - Chart.#right;
        return Chart.#left + (this.frames.length > 1 ? i / (this.frames.length - 1) : 0.5) * width;
    }

    #y(value) {
        const height = Chart.#height - Chart.#top - Chart.#bottom;
        return Chart.#top + (1 - (value - this.low) / (this.high - this.low)) * height;
    }

    #text(x, y, anchor, text) {
        make('text', { x, y, 'text-anchor': anchor }, this.svg).textContent = text;
    }

    #axes() {
        const digits = Math.max(0, Math.ceil(-Math.log10(this.step) - 1e-9));
        for (let value = this.low; value <= this.high + this.step / 2; value += this.step) {
            const y = this.#y(value);
            make('line', { x1: Chart.#left, x2: Chart.#width - Chart.#right, y1: y, y2: y, stroke: 'var(--line)' }, this.svg);
            this.#text(Chart.#left - 6, y + 4, 'end', value.toFixed(digits));
        }
        const step = Math.max(1, roundStep(this.frames.length / 8));
        for (let i = 0; i < this.frames.length; i += step) {
            this.#text(this.#x(i), Chart.#height - 6, 'middle', this.frames[i].number);
        }
    }

    #curve(name, i) {
        const style = { fill: 'none', stroke: `var(--series-${i})`, 'stroke-width': 1.5 };
        let points = [];
        const finish = () => {
            if (points.length === 1) {
                const [x, y] = points[0];
                make('circle', { cx: x, cy: y, r: 2, fill: style.stroke }, this.svg);
            } else if (points.length > 1) {
                make('polyline', { ...style, points: points.join(' ') }, this.svg);
            }
            points = [];
        };
        this.frames.forEach((frame, at) => {
            if (Number.isFinite(frame[name])) {
                points.push([this.#x(at), this.#y(frame[name])]);
            } else {
                finish();
            }
        });
        finish();
    }

    #show(event) {
        const box = this.svg.getBoundingClientRect();
        const x = ((event.clientX - box.left) / box.width) * Chart.#width;
        const share = (x - Chart.#left) / (Chart.#width - Chart.#left - Chart.#right);
        const at = Math.round(Math.min(Math.max(share, 0), 1) * (this.frames.length - 1));
        this.mark.setAttribute('x1', this.#x(at));
        this.mark.setAttribute('x2', this.#x(at));
        this.#label(this.frames[at]);
    }

    #label(frame) {
        this.mark?.setAttribute('visibility', frame ? 'visible' : 'hidden');
        const labels = this.names.map((name, i) => {
            const label = document.createElement('span');
            label.className = 'key';
            label.style.setProperty('--key', `var(--series-${i})`);
            const value = Number.isFinite(frame?.[name]) ? ` ${frame[name].toPrecision(4)}` : '';
            label.textContent = name + value;
            return label;
        });
        this.keys.replaceChildren(...labels, frame ? `frame ${frame.number}` : '');
    }
}

new Chart('Distance', 'mm', true, ['mean', 'p95', 'p99', 'max']);
new Chart('PSNR of the surface', 'dB', false, ['pointpsnr', 'planepsnr']);
new Chart('PSNR of the views', 'dB', false, ['psnr']);
new Chart('SSIM of the views', '', false, ['ssim']);
new Chart('Silhouette', '%', true, ['silhouette']);
new Chart('Flicker', 'levels', true, ['flicker']);

// ---- The mesh ----

function bytesOf(base64) {
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < bytes.length; ++i) {
        bytes[i] = text.charCodeAt(i);
    }
    return bytes;
}

const player = document.querySelector('nimb-player');
const clip = document.getElementById('error-clip');
if (player && clip) {
    const buttons = [...document.querySelectorAll('.choices button')];
    player.source = new Blob([bytesOf(clip.textContent)], { type: 'video/mp4' });
    clip.remove();
    const choose = (chosen) => {
        player.currentTime = (buttons.indexOf(chosen) + 0.5) / Number(player.dataset.rate);
        document.getElementById('scale').textContent = chosen.dataset.scale;
        for (const button of buttons) {
            button.setAttribute('aria-pressed', button === chosen);
        }
    };
    for (const button of buttons) {
        button.addEventListener('click', () => choose(button));
    }
    player.addEventListener('loadeddata', () => choose(buttons[0]), { once: true });
}
