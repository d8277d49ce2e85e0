/** What it takes to start a piece of sound, in seconds. */
const SOUND_LEAD = 0.02;

/**
 * The time of one or several players.
 *
 * It runs on the sound of the page where a player has any (see `useSound`), otherwise on the page's own time. It has no
 * end: a looping clip goes round and round while the clock goes on. Players that wait for data, or for the frame of a
 * seek, hold the clock; it goes on when nobody does.
 *
 * Events: `change` whenever time jumps, stops, runs on or runs at another rate; `seek` before that when it jumps.
 */
export class Clock extends EventTarget {
    #isPaused = true;
    #rate = 1;
    /** Clock time and the time of the source at one moment. */
    #anchor = 0;
    #sourceAnchor = 0;
    readonly #holders = new Set<object>();
    #context: AudioContext | null = null;
    #usesContext = false;

    /** In seconds. Setting it moves every player. */
    get currentTime(): number {
        const passed = this.isRunning ? Math.max(0, this.#sourceTime() - this.#sourceAnchor) : 0;
        return this.#anchor + passed * this.#rate;
    }

    set currentTime(time: number) {
        if (!Number.isFinite(time)) {
            throw new TypeError('a time is a finite number');
        }
        this.#anchorAt(Math.max(0, time));
        this.dispatchEvent(new Event('seek'));
        this.#tell();
    }

    get paused(): boolean {
        return this.#isPaused;
    }

    /** Whether time passes now: not paused, and held by nobody. */
    get isRunning(): boolean {
        return !this.#isPaused && this.#holders.size === 0;
    }

    /** 0.1 to 4; 1 is the clips' own. */
    get playbackRate(): number {
        return this.#rate;
    }

    set playbackRate(rate: number) {
        if (!(rate >= 0.1 && rate <= 4)) {
            throw new DOMException(`a rate of ${rate} is not between 0.1 and 4`, 'NotSupportedError');
        }
        if (rate !== this.#rate) {
            this.#settle();
            this.#rate = rate;
            this.#tell();
        }
    }

    play(): void {
        if (this.#isPaused) {
            this.#settle();
            this.#isPaused = false;
            this.#tell();
        }
    }

    pause(): void {
        if (!this.#isPaused) {
            this.#settle();
            this.#isPaused = true;
            this.#tell();
        }
    }

    /** Time stops until `release`, without being paused. */
    hold(holder: object): void {
        if (!this.#holders.has(holder)) {
            this.#settle();
            this.#holders.add(holder);
            this.#tell();
        }
    }

    release(holder: object): void {
        if (this.#holders.has(holder)) {
            this.#settle();
            this.#holders.delete(holder);
            this.#tell();
        }
    }

    /** The audio context that players of this clock sound through; null: none yet. */
    get audioContext(): AudioContext | null {
        return this.#context;
    }

    /**
     * Makes sound the source of time. Resolves when the context runs; rejects with NotAllowedError where the browser wants
     * the user to touch the page first. Without any sound hardware it resolves to null, and time goes on without.
     */
    async useSound(sampleRate: number): Promise<AudioContext | null> {
        try {
            this.#context ??= new AudioContext({ sampleRate });
        } catch {
            return null;
        }
        const context = this.#context;
        if (context.state !== 'running') {
            const patience = navigator.userActivation?.hasBeenActive === false ? 300 : 2000;
            const started = await Promise.race([
                context.resume().then(() => context.state === 'running', () => false),
                new Promise<boolean>((resolve) => setTimeout(() => resolve(false), patience)),
            ]);
            if (!started) {
                throw new DOMException('sound starts only after the user has touched the page', 'NotAllowedError');
            }
        }
        context.onstatechange = () => this.#settleInto();
        this.#settleInto();
        return context;
    }

    /** When, on the audio context, the sound of `time` is due. */
    contextTimeOf(time: number): number {
        return this.#sourceAnchor + (time - this.#anchor) / this.#rate;
    }

    /** Whether times of the audio context are those of the clock. */
    get runsOnSound(): boolean {
        return this.#usesContext;
    }

    /** Ends the sound of all players of this clock. Time goes on without. */
    async close(): Promise<void> {
        const context = this.#context;
        if (context) {
            context.onstatechange = null;
            const time = this.currentTime;
            this.#context = null;
            this.#usesContext = false;
            this.#anchorAt(time);
            await context.close();
        }
    }

    /** Changes the source without a jump. */
    #settleInto(): void {
        const uses = this.#context?.state === 'running';
        if (uses !== this.#usesContext) {
            const time = this.currentTime;
            this.#usesContext = uses;
            this.#anchorAt(time);
            this.#tell();
        }
    }

    #settle(): void {
        this.#anchorAt(this.currentTime);
    }

    /** Sound begins a little after now, when what is computed now can be heard; until then time stands still. */
    #anchorAt(time: number): void {
        this.#anchor = time;
        this.#sourceAnchor = this.#usesContext ? this.#context!.currentTime + SOUND_LEAD : this.#sourceTime();
    }

    #tell(): void {
        this.dispatchEvent(new Event('change'));
    }

    /** Of what is heard now, where there is sound: what was computed last leaves the loudspeaker later. */
    #sourceTime(): number {
        const context = this.#context;
        if (!context || !this.#usesContext) {
            return performance.now() / 1000;
        }
        const { contextTime, performanceTime } = context.getOutputTimestamp();
        if (contextTime && performanceTime) {
            return Math.min(contextTime + (performance.now() - performanceTime) / 1000, context.currentTime);
        }
        return Math.max(0, context.currentTime - (context.outputLatency || context.baseLatency || 0));
    }
}
