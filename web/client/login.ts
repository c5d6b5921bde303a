/** Builds the log in command and keeps its texts within what the process can hold. */
import { browserKind } from './browserKind.ts';
import { LumoError } from './errors.ts';
import type { DeviceAddress, LoginRequest } from './requests.ts';
import { MainType, utf8Length } from './wire.ts';

export interface LoginOptions {
    /** ASCII text that the title of the browser's window holds; see `SessionTitle`. */
    title?: string;
    /** Defaults to what `browserKind` finds. */
    browse?: number;
    /** "Black" gives the surface its dark look; it also names the version file that `readConfig` reads. */
    webType?: string;
    /** "Tool" subscribes to alarms; log in by serial number only. */
    alarmStyle?: string;
    sampleRate16?: boolean;
}

/** Bytes of UTF-8 that the process has room for; it copies without a bound. */
const WIDTHS = { address: 63, user: 63, password: 63, serialNumber: 31, token: 63, alarmStyle: 63 } as const;

const NAMES: Record<keyof typeof WIDTHS, string> = {
    address: 'address',
    user: 'user name',
    password: 'password',
    serialNumber: 'serial number',
    token: 'token',
    alarmStyle: 'alarm style',
};

export function loginRequest(device: DeviceAddress, options: LoginOptions): LoginRequest {
    checkWidths({ ...device, alarmStyle: options.alarmStyle });
    const request: LoginRequest = {
        MainType: MainType.Login,
        SubType: 0,
        Device: deviceOf(device),
        // An empty title makes the process look for a text of its own.
        Title: options.title ?? '',
        Browse: options.browse ?? browserKind(),
    };
    if (options.alarmStyle !== undefined) request.AlarmStyle = options.alarmStyle;
    if (options.webType !== undefined) request.WebType = options.webType;
    if (options.sampleRate16 !== undefined) request.SampleRate_16 = options.sampleRate16;
    return request;
}

/** The process stops reading at the first key that is missing, so every type sends all that it reads. */
function deviceOf(device: DeviceAddress): LoginRequest['Device'] {
    const { user: User, password: Password } = device;
    if (device.kind === 'address') {
        if (!Number.isInteger(device.port) || device.port < 0 || device.port > 65535)
            throw new LumoError('bad-argument', 'The port must be a number from 0 to 65535.');
        return { LoginType: 0, IP: device.address, User, Password, Port: device.port };
    }
    if (device.kind === 'serial') return { LoginType: 1, SN: device.serialNumber, User, Password, Port: 0 };
    return { LoginType: 2, SN: device.serialNumber, tcsToken: device.token, User, Password, Port: 0 };
}

function checkWidths(values: Record<string, unknown>): void {
    for (const [key, width] of Object.entries(WIDTHS)) {
        const value = values[key];
        if (typeof value === 'string' && utf8Length(value) > width)
            throw new LumoError('bad-argument', `The ${NAMES[key as keyof typeof WIDTHS]} is longer than ${width} bytes.`);
    }
}
