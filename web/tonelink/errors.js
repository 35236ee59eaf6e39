// Whatever can go wrong, under names that a program can tell apart.

/** An error with a `code`, one of ErrorCode in index.d.ts. */
export class ToneLinkError extends Error {
    constructor(code, message, cause) {
        super(message, { cause });
        this.name = 'ToneLinkError';
        this.code = code;
    }
}
