let isSoftware: boolean | null = null;

/**
 * Whether the processor computes this browser's graphics, as on machines without a graphics card. Such browsers take half a
 * second to make a texture of a VideoFrame, and milliseconds for one of pixels.
 */
export function drawsInSoftware(): boolean {
    isSoftware ??= !hasGraphicsCard();
    return isSoftware;
}

function hasGraphicsCard(): boolean {
    const context = document.createElement('canvas').getContext('webgl2', { failIfMajorPerformanceCaveat: true });
    // Some browsers grant a context on a software renderer all the same.
    const details = context?.getExtension('WEBGL_debug_renderer_info');
    const name = String(context?.getParameter(details ? details.UNMASKED_RENDERER_WEBGL : context.RENDERER) ?? '');
    context?.getExtension('WEBGL_lose_context')?.loseContext();
    return context !== null && !/swiftshader|llvmpipe|softpipe|basic render/i.test(name);
}
