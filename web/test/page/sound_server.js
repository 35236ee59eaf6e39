// A PulseAudio of the test's own, with a loudspeaker that nobody hears and whose sound is the
// microphone: what a browser plays there, another one hears.
import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';

export class SoundServer {
    #daemon;
    #folder;
    #rate;

    static async start(rate) {
        const server = new SoundServer();
        server.#rate = rate;
        server.#folder = mkdtempSync(join(tmpdir(), 'tonelink-sound-'));
        const socket = join(server.#folder, 'socket');
        server.environment = {
            PULSE_SERVER: `unix:${socket}`,
            XDG_RUNTIME_DIR: server.#folder,
            PULSE_COOKIE: join(server.#folder, 'cookie'),
        };
        const settings = join(server.#folder, '.config/pulse'); // which browsers go by
        mkdirSync(settings, { recursive: true });
        writeFileSync(join(settings, 'daemon.conf'), `default-sample-rate = ${rate}\n`);
        server.#daemon = spawn(
            'pulseaudio',
            [
                '-n',
                '--daemonize=no',
                '--use-pid-file=no',
                '--exit-idle-time=-1',
                '--disable-shm=yes',
                '-L',
                `module-native-protocol-unix auth-anonymous=1 socket=${socket}`,
                '-L',
                `module-null-sink sink_name=room rate=${rate} channels=1 format=float32le`,
                // Browsers do not offer a loudspeaker's monitor as a microphone.
                '-L',
                'module-remap-source master=room.monitor source_name=microphone',
            ],
            {
                env: {
                    ...process.env,
                    ...server.environment,
                    HOME: server.#folder,
                    XDG_CONFIG_HOME: join(server.#folder, '.config'),
                },
                stdio: 'ignore',
            },
        );
        await server.#wait();
        return server;
    }

    /** Until it answers. */
    async #wait() {
        for (;;) {
            if (this.#daemon.exitCode !== null) throw new Error('PulseAudio does not start');
            try {
                this.#run('pactl', 'set-default-source', 'microphone');
                return;
            } catch {
                await sleep(100);
            }
        }
    }

    #run(...command) {
        const [program, ...options] = command;
        execFileSync(program, options, {
            env: { ...process.env, ...this.environment },
            stdio: 'ignore',
        });
    }

    /** Plays a file to its end. */
    play(path) {
        const player = spawn('paplay', [path], { env: { ...process.env, ...this.environment } });
        return new Promise((resolve) => player.once('exit', resolve));
    }

    /** Records what is played, 16 bits, mono, until the function that it returns is called. */
    record() {
        const recorder = spawn(
            'parec',
            ['-d', 'room.monitor', '--format=s16le', '--channels=1', `--rate=${this.#rate}`],
            { env: { ...process.env, ...this.environment }, stdio: ['ignore', 'pipe', 'ignore'] },
        );
        const parts = [];
        recorder.stdout.on('data', (part) => parts.push(part));
        const ended = new Promise((resolve) => recorder.stdout.once('end', resolve));
        return async () => {
            recorder.kill();
            await ended;
            return Buffer.concat(parts);
        };
    }

    async stop() {
        const ended = new Promise((resolve) => this.#daemon.once('exit', resolve));
        if (this.#daemon.exitCode === null) {
            this.#daemon.kill();
            await ended;
        }
        rmSync(this.#folder, { recursive: true, force: true });
    }
}
