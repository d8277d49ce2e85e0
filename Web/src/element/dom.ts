// Makes elements without parsing text, so that pages may forbid inline styles and require trusted types.

type Child = Node | string;

export function make<K extends keyof HTMLElementTagNameMap>(
    tag: K, attributes: Record<string, string>, ...children: Child[]
): HTMLElementTagNameMap[K] {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
}

/** On a grid of 24. Filled, except for those that begin with "s ": these are lines. */
const ICONS = {
    play: 'M8 5.2v13.6a.8.8 0 0 0 1.2.7l11-6.8a.8.8 0 0 0 0-1.4l-11-6.8a.8.8 0 0 0-1.2.7z',
    pause: 'M7 5h3.5v14H7zM13.5 5H17v14h-3.5z',
    replay: 's M5 12a7 7 0 1 0 2.4-5.3M8 2.8v4.4h4.4',
    sound: 's M4 9.5v5h3.2l4.8 4v-13l-4.8 4zM15.5 9a4.2 4.2 0 0 1 0 6M18 6.5a7.8 7.8 0 0 1 0 11',
    muted: 's M4 9.5v5h3.2l4.8 4v-13l-4.8 4zM16 9.5l5 5M21 9.5l-5 5',
    enlarge: 's M4 9V4h5M15 4h5v5M20 15v5h-5M9 20H4v-5',
    shrink: 's M9 4v5H4M20 9h-5V4M15 20v-5h5M4 15h5v5',
    view: 's M12 3.5l7.4 4.2v8.6L12 20.5l-7.4-4.2V7.7zM4.6 7.7L12 12l7.4-4.3M12 12v8.5',
};

export type Icon = keyof typeof ICONS;

const SVG = 'http://www.w3.org/2000/svg';

function drawIcon(name: Icon): SVGElement {
    const svg = document.createElementNS(SVG, 'svg');
    svg.setAttribute('viewBox', '0 0 24 24');
    svg.setAttribute('aria-hidden', 'true');
    const path = document.createElementNS(SVG, 'path');
    const isLine = ICONS[name].startsWith('s ');
    path.setAttribute('d', ICONS[name].slice(isLine ? 2 : 0));
    path.classList.toggle('line', isLine);
    svg.append(path);
    return svg;
}

/** A button with a picture, and a name for those who do not see it. */
export function makeButton(part: string, onClick: () => void): HTMLButtonElement {
    const button = make('button', { type: 'button', part });
    button.addEventListener('click', onClick);
    return button;
}

export function setButton(button: HTMLButtonElement, icon: Icon, label: string, key = ''): void {
    if (button.dataset.icon !== icon) {
        button.dataset.icon = icon;
        button.replaceChildren(drawIcon(icon));
    }
    button.title = key ? `${label} (${key})` : label;
    button.ariaLabel = label;
}
