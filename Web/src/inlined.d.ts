// What scripts/build.mjs puts in.
declare module 'inlined:*' {
    const text: string;
    export default text;
}
