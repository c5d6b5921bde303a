/** Result codes in plain words, for a status line. */

export const RET_SUCCESS = 100;
/** SubType 2 of the preview commands answers this in every case. */
export const RET_FAILURE = 1016;
/** An import for which no file was picked. */
export const RET_NO_PATH = 1014;
/** An unknown command, or one that finds nothing to do. */
export const RET_NOTHING_TO_DO = 1019;

const TEXTS: ReadonlyMap<number, string> = new Map([
    [100, 'Done.'],
    [106, 'The user name or the password is wrong.'],
    [107, 'The device refused the request.'],
    [109, 'The file to be sent is missing or empty.'],
    [121, 'The cell or the decoder could not be started.'],
    [122, 'The device refused the stream.'],
    [206, 'The user or this computer is locked out by the device. Try again later.'],
    [207, 'The user is logged in already and may not be twice.'],
    [218, 'The device serves as many sessions as it can. Try again later.'],
    [999, 'The log in to the device has ended. Log in again.'],
    [1003, 'The browser window was not found. Click into the page and try again.'],
    [1006, 'The device cannot be reached, or did not answer in time.'],
    [1007, 'The device refused the upgrade.'],
    [1008, 'The device reports no channels, or more than 64.'],
    [1009, 'The download could not be started: the device refused it, or its folder cannot be written.'],
    [1012, 'The device could not be found by its serial number.'],
    [1013, 'The device cannot do this.'],
    [1014, 'No file was chosen.'],
    [1015, 'The configuration file is larger than 64 KiB.'],
    [1016, 'The command failed.'],
    [1017, 'The log in failed.'],
    [1019, 'The viewer does not know this command, or finds nothing to do in it.'],
]);

/** Every code that has a text, in ascending order. */
export const KNOWN_RETS: readonly number[] = [...TEXTS.keys()];

/** The device library's own numbers, as they come under `ErrorCode` and `Error`. */
const DEVICE_TEXTS: ReadonlyMap<number, string> = new Map([
    [-10001, 'a value was out of range'],
    [-10005, 'it cannot be reached, or did not answer in time'],
    [-11300, 'it refused the request'],
    [-11301, 'there is no such user'],
    [-11302, 'the password is wrong'],
    [-11303, 'the user or this computer is locked out'],
    [-11304, 'the user is logged in already'],
    [-11307, 'the log in has ended'],
    [-11317, 'it serves as many sessions as it can'],
    [-11401, 'it cannot do this'],
    [-11613, 'it was not found by its serial number'],
]);

/** Codes whose text says less than the device's own number does. */
const VAGUE = new Set([106, 122, RET_FAILURE, 1017]);

/** A sentence for one of the device library's own numbers. */
export function deviceErrorText(error: number): string {
    const text = DEVICE_TEXTS.get(error);
    return text ? `The device says: ${text}.` : `The device answered with error ${error}.`;
}

/** A sentence for a result code. `deviceError` is `ErrorCode` or `Error` of the same reply, when there is one. */
export function retText(ret: number, deviceError?: number): string {
    const text = TEXTS.get(ret) ?? `The command failed with code ${ret}.`;
    if (deviceError === undefined || deviceError === 0 || !VAGUE.has(ret)) return text;
    const stem = text.replace(/\.$/, '');
    const detail = DEVICE_TEXTS.get(deviceError);
    return detail ? `${stem}: ${detail}.` : `${stem} (device error ${deviceError}).`;
}
