// System colours follow the page's `color-scheme`, and with it dark and light.
const CSS = `
:host {
    display: block;
    position: relative;
    aspect-ratio: 16 / 9;
    overflow: hidden;
    --_accent: var(--nimb-accent, #1d8f86);
    --_surface: var(--nimb-surface, color-mix(in srgb, Canvas 84%, transparent));
    --_text: var(--nimb-text, CanvasText);
    --_track: color-mix(in srgb, var(--_text) 24%, transparent);
    font: 13px/1.3 system-ui, sans-serif;
    color: var(--_text);
}
:host([hidden]), [hidden] { display: none !important; }
:host(:fullscreen) { background: var(--nimb-fullscreen-background, #15181c); }
.root { position: absolute; inset: 0; container-type: size; border-radius: inherit; }
:host(:fullscreen) .root {
    inset: env(safe-area-inset-top) env(safe-area-inset-right) env(safe-area-inset-bottom) env(safe-area-inset-left);
}
.fill, canvas { position: absolute; inset: 0; width: 100%; height: 100%; }
canvas { display: block; cursor: grab; touch-action: pan-y; }
canvas.grabbed { cursor: grabbing; }
canvas.fixed { cursor: default; touch-action: auto; }
:host(:fullscreen) canvas { touch-action: none; }
.idle canvas { cursor: none; }
img { object-fit: contain; pointer-events: none; }
:focus { outline: none; }
:focus-visible { outline: 2px solid var(--_accent); outline-offset: 2px; }
canvas:focus-visible { outline-offset: -3px; border-radius: inherit; }

.bar {
    position: absolute;
    inset: auto 12px 12px;
    max-width: 960px;
    margin: 0 auto;
    padding: 4px 8px;
    box-sizing: border-box;
    display: flex;
    align-items: center;
    gap: 2px;
    border-radius: 14px;
    background: var(--_surface);
    -webkit-backdrop-filter: blur(14px) saturate(1.4);
    backdrop-filter: blur(14px) saturate(1.4);
    box-shadow: 0 1px 2px #0002, 0 6px 20px #0002;
    transition: opacity 0.2s, visibility 0.2s;
    user-select: none;
    -webkit-user-select: none;
}
.idle .bar { opacity: 0; visibility: hidden; }
button, select {
    all: unset;
    box-sizing: border-box;
    display: inline-grid;
    place-items: center;
    min-width: var(--_target, 36px);
    height: var(--_target, 36px);
    border-radius: 9px;
    cursor: pointer;
    color: inherit;
    font: inherit;
    -webkit-tap-highlight-color: transparent;
}
button:focus-visible, select:focus-visible { outline: 2px solid var(--_accent); outline-offset: -2px; }
button:hover, select:hover { background: color-mix(in srgb, var(--_text) 10%, transparent); }
svg { width: 22px; height: 22px; fill: currentColor; pointer-events: none; }
.line { fill: none; stroke: currentColor; stroke-width: 1.8; stroke-linecap: round; stroke-linejoin: round; }
.time, .number, .approximate { white-space: nowrap; font-variant-numeric: tabular-nums; padding: 0 6px; }
.number { opacity: 0; transition: opacity 0.2s; color: color-mix(in srgb, var(--_text) 70%, transparent); }
.paused .number { opacity: 1; }
.approximate { border: 1px solid var(--_track); border-radius: 99px; font-size: 11px; line-height: 18px; cursor: help; }
.speed { text-align: center; text-align-last: center; font-variant-numeric: tabular-nums; }
.speed option { background: Canvas; color: CanvasText; }
.gap { display: none; }

.scrubber { position: relative; order: 1; flex: 1; min-width: 60px; display: flex; margin: 0 6px; }
.bar > :is(.gap, .volume, .speed, button) { order: 2; }
.bar > :is([part~=play-button], .time, .number, .approximate) { order: 0; }
input {
    all: unset;
    box-sizing: border-box;
    height: var(--_target, 36px);
    cursor: pointer;
    border-radius: 9px;
    touch-action: none;
    --_line: linear-gradient(to right, var(--_accent) calc(8px + var(--value, 0) * (100% - 16px)), var(--_track) 0);
}
input:focus-visible { outline: 2px solid var(--_accent); outline-offset: -2px; }
.seek { flex: 1; width: 100%; }
.volume { width: 72px; }
input::-webkit-slider-runnable-track { height: 4px; border-radius: 2px; background: var(--_line); }
input::-moz-range-track { height: 4px; border-radius: 2px; background: var(--_line); }
input::-webkit-slider-thumb {
    -webkit-appearance: none;
    width: 16px; height: 16px; margin-top: -6px;
    border-radius: 50%; background: var(--_accent); border: 3px solid Canvas; box-sizing: border-box;
    box-shadow: 0 0 3px #0006;
}
input::-moz-range-thumb {
    width: 16px; height: 16px; box-sizing: border-box;
    border-radius: 50%; background: var(--_accent); border: 3px solid Canvas;
}
.bubble {
    position: absolute; bottom: calc(100% + 8px); left: var(--at, 50%); translate: -50%;
    padding: 3px 8px; border-radius: 8px; background: var(--_surface); box-shadow: 0 1px 6px #0003;
    white-space: nowrap; font-variant-numeric: tabular-nums; pointer-events: none; opacity: 0; transition: opacity 0.1s;
}
.bubble.shown { opacity: 1; }

.start, .spinner, .error { position: absolute; inset: 0; margin: auto; }
.start {
    width: 76px; height: 76px; border-radius: 50%;
    background: var(--_surface); backdrop-filter: blur(14px); box-shadow: 0 2px 16px #0003;
    transition: scale 0.15s;
}
.start:hover { background: var(--_surface); scale: 1.06; }
.start:focus-visible { outline-offset: 3px; }
.start svg { width: 38px; height: 38px; color: var(--_accent); }
.spinner {
    width: 44px; height: 44px; border-radius: 50%; box-sizing: border-box; pointer-events: none;
    border: 4px solid color-mix(in srgb, var(--_accent) 25%, transparent); border-top-color: var(--_accent);
    animation: turn 0.9s linear infinite, appear 0.2s 0.3s backwards;
}
@keyframes turn { to { rotate: 1turn; } }
@keyframes appear { from { opacity: 0; } }
.error {
    width: fit-content; height: fit-content; max-width: min(420px, calc(100% - 32px)); max-height: calc(100% - 16px);
    box-sizing: border-box; padding: 16px 20px; overflow: auto; text-align: center; text-wrap: balance;
    border-radius: 14px; background: var(--_surface); backdrop-filter: blur(14px); box-shadow: 0 2px 16px #0003;
    font-size: 15px;
}
.error p { margin: 0; overflow-wrap: anywhere; }
.error button { margin-top: 10px; padding: 0 14px; color: var(--_accent); font-weight: 600; }

@container (max-width: 620px) {
    .volume { display: none; }
}
@container (max-width: 520px) {
    .bar { flex-wrap: wrap; inset: auto 8px 8px; padding: 2px 6px; }
    .scrubber { order: -1; flex: 1 0 calc(100% - 8px); margin: 0 4px; --_target: 30px; }
    .gap { display: block; flex: 1; }
    .time { padding: 0 4px; }
}
@container (max-width: 420px) {
    .number, [part~=view-button] { display: none; }
}
@container (max-width: 330px) {
    .speed { display: none; }
}
@media (pointer: coarse) {
    .root { --_target: 44px; }
    .scrubber { --_target: 44px !important; margin-block: -8px !important; }
}
@media (prefers-reduced-motion: reduce) {
    .bar, .start, .number { transition: none; }
    .spinner { animation: pulse 2s ease-in-out infinite; }
    @keyframes pulse { 50% { opacity: 0.3; } }
}
@media (forced-colors: active) {
    .bar, .start, .error { border: 1px solid CanvasText; background: Canvas; }
    input { --_line: linear-gradient(CanvasText, CanvasText); forced-color-adjust: none; }
}
`;

let sheet: CSSStyleSheet | null = null;

/** One for all players of a page. Pages need not allow inline styles for it. */
export function playerStyle(): CSSStyleSheet {
    if (!sheet) {
        sheet = new CSSStyleSheet();
        sheet.replaceSync(CSS.replace(/\s+/g, ' '));
    }
    return sheet;
}
