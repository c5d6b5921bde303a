/** What every browser has and Debian's node keeps behind an option. */
import { webcrypto } from 'node:crypto';

globalThis.crypto ??= webcrypto;
