/**
 * The page's side of the viewer process: a typed client that a page of any make can use.
 * Start with `LumoClient`, `SessionTitle` and `SurfaceRect`.
 */
export * from './LumoClient.ts';
export * from './Connection.ts';
export * from './errors.ts';
export * from './events.ts';
export * from './requests.ts';
export * from './alarms.ts';
export * from './audio.ts';
export * from './colorPage.ts';
export * from './commandSender.ts';
export * from './maintenance.ts';
export * from './playback.ts';
export * from './ptz.ts';
export * from './ret.ts';
export * from './rules.ts';
export * from './wire.ts';
export * from './login.ts';
export * from './browserKind.ts';
export * from './SessionTitle.ts';
export * from './SurfaceRect.ts';
export * from './ContentOffset.ts';
export { Emitter, type Unsubscribe } from './Emitter.ts';
export { CommandQueue, type CommandQueueOptions } from './CommandQueue.ts';
