"""What `tonelink check` says through a sound server, and which devices it, `send` and `listen` list
and take. Usage: check_command_test.py COMMAND"""
import json
import os
import subprocess
import time

import command_case

# As Debian's alsa-plugins have it: pulse:NAME is a sink or source of that name.
ASOUNDRC = """
pcm.pulse {
    @args [ DEVICE ]
    @args.DEVICE { type string default "" }
    type pulse
    device $DEVICE
    hint { show on description "Sound server" }
}
pcm.nothing { type null hint { show on description "Nobody" } }
"""
TRIES = 20  # a machine that is too busy loses samples, which is told and is no fault of the path


class Check(command_case.CommandCase):
    server = None

    def setUp(self):
        super().setUp()
        (self.folder / "asoundrc").write_text(ASOUNDRC)
        # Where both are the same, sinks stay at their own rates.
        (self.folder / "daemon.conf").write_text("default-sample-rate=44100\nalternate-sample-rate=44100\n")
        for name, value in (("HOME", self.folder), ("XDG_RUNTIME_DIR", self.folder),
                            ("ALSA_CONFIG_PATH", self.folder / "asoundrc"),
                            ("PULSE_CONFIG", self.folder / "daemon.conf"),
                            ("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent"),
                            ("PULSE_SERVER", "unix:%s/socket" % self.folder)):
            before = os.environ.get(name)
            os.environ[name] = str(value)
            self.addCleanup(os.environ.pop, name)
            if before is not None:
                self.addCleanup(os.environ.__setitem__, name, before)
        self.begin_server()

    def begin_server(self, *options):
        """In place of what runs: one with two sinks that nobody hears."""
        if self.server:
            self.server.kill()
            self.server.wait()
        socket = self.folder / "socket"
        sinks = [argument for name, rate in (("speaker", 48000), ("other", 44100))
                 for argument in ("-L", "module-null-sink sink_name=%s format=s16le rate=%d channels=1 "
                                  "sink_properties=device.description=The-%s" % (name, rate, name))]
        server = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
             "--disable-shm=yes", *options, *sinks, "-L",
             "module-native-protocol-unix auth-anonymous=1 socket=%s" % socket],
            stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        self.server = server
        while subprocess.run(["pactl", "info"], capture_output=True).returncode != 0:
            self.assertIsNone(server.poll(), "the sound server does not run")
            time.sleep(0.1)

    def check(self, *arguments):
        """The exit status and what --json tells."""
        done = subprocess.run(["tonelink", "check", "--json", *arguments], cwd=self.folder,
                              capture_output=True)
        return done.returncode, json.loads(done.stdout)

    def test_a_path_without_faults_is_good(self):
        for _ in range(TRIES):
            status, told = self.check("--output", "alsa:pulse:speaker", "--input",
                                      "alsa:pulse:speaker.monitor", "-o", "a.png")
            if told["verdict"] == "good":
                break
        self.assertEqual((status, told["verdict"], told["reasons"]), (0, "good", []))
        self.assertEqual((told["output_rate"], told["input_rate"]), (48000, 48000))
        self.assertEqual((told["bursts_heard"], told["clipped_samples"]), (2, 0))
        self.assertLess(told["band_fall_db"], 1)
        self.assertAlmostEqual(told["band_dbfs"], -6, delta=0.5)
        self.assertLess(told["noise_dbfs"], -90)
        self.assertEqual([point["hz"] for point in told["response"]], [*range(17000, 21001, 100)])
        self.assertLess(abs(told["latency_ms"]), 5000)  # a monitor may run ahead
        self.assertEqual(self.read("a.png")[:4], b"\x89PNG")

    def test_a_microphone_that_hears_nothing_is_named(self):
        status, told = self.check("--output", "alsa:pulse:speaker", "--input",
                                  "alsa:pulse:other.monitor")
        self.assertEqual((status, told["verdict"], told["reasons"]), (1, "bad", ["silent"]))

    def test_an_echo_canceller_is_named(self):
        """The microphone is a sink of its own, to which all goes that the loudspeaker plays."""
        for module in ("module-loopback source=speaker.monitor sink=other latency_msec=20",
                       "module-echo-cancel source_master=other.monitor sink_master=speaker "
                       "source_name=clean sink_name=dirty aec_method=speex rate=48000"):
            subprocess.run(["pactl", "load-module", *module.split()], check=True, capture_output=True)
        for _ in range(TRIES):
            _, told = self.check("--output", "alsa:pulse:dirty", "--input", "alsa:pulse:clean")
            if told["reasons"] == ["echo_cancelled"]:
                break
        self.assertEqual(told["reasons"], ["echo_cancelled"])

    def load(self, *modules):
        for module in modules:
            subprocess.run(["pactl", "load-module", *module.split()], check=True, capture_output=True)

    def expect(self, reason, verdicts, sink="speaker", source="speaker.monitor"):
        for _ in range(TRIES):
            _, told = self.check("--output", "alsa:pulse:" + sink, "--input", "alsa:pulse:" + source)
            if told["reasons"] == [reason]:
                break
        self.assertEqual((told["reasons"], told["verdict"] in verdicts), ([reason], True))
        return told

    def test_a_server_that_resamples_badly_is_named(self):
        """Into a sink of 44.1 kHz it takes the nearest sample of 48."""
        self.begin_server("--resample-method=trivial")
        self.load("module-remap-sink sink_name=wide master=other rate=48000")
        told = self.expect("resampled", ["limited"], "wide", "other.monitor")
        self.assertGreater(told["image_db"], -30)

    def test_a_way_without_the_band_is_named(self):
        """Through a sink of 34 kHz, by a steep filter and by one that leaves a little."""
        for method, edge in (("speex-float-10", 16500), ("speex-float-1", 14500)):
            self.begin_server("--resample-method=" + method)
            self.load("module-null-sink sink_name=narrow format=s16le rate=34000 channels=1",
                      "module-remap-sink sink_name=in master=narrow rate=48000",
                      "module-remap-source source_name=out master=narrow.monitor rate=48000")
            told = self.expect("band_cut", ["bad"], "in", "out")
            self.assertAlmostEqual(told["edge_hz"], edge, delta=600)

    def test_too_much_volume_and_noise_are_named(self):
        subprocess.run(["pactl", "set-sink-volume", "speaker", "200%"], check=True)
        self.expect("clipped", ["limited"])
        self.begin_noise()
        self.expect("noise", ["limited", "bad"])

    def begin_noise(self):
        subprocess.run(["pactl", "set-sink-volume", "speaker", "100%"], check=True)
        with open("/dev/urandom", "rb") as source:
            noise = subprocess.Popen(
                ["pacat", "--raw", "--format=s16le", "--rate=48000", "--channels=1", "--volume=51000",
                 "--device=speaker"], stdin=source, stderr=subprocess.DEVNULL)
        self.addCleanup(noise.wait)
        self.addCleanup(noise.kill)

    def listed(self, command, *arguments):
        return [json.loads(line) for line in
                self.succeed(command, "--list-devices", "--json", *arguments).splitlines()]

    def test_devices_are_listed_with_the_same_numbers(self):
        devices = {device["device"]: device for device in self.listed("check")}
        speaker, monitor = devices["pulse:speaker"], devices["pulse:speaker.monitor"]
        self.assertEqual([(device["plays"], device["hears"], device["rate"], device["default"])
                          for device in (speaker, monitor, devices["pulse:other"])],
                         [(True, False, 48000, True), (False, True, 48000, True),
                          (True, False, 44100, False)])
        self.assertEqual((speaker["description"], devices["nothing"]["description"]),
                         ("The-speaker", "Nobody"))
        for command, use in (("send", "plays"), ("listen", "hears")):
            self.assertEqual(self.listed(command),
                             [device for device in devices.values() if device[use]])
        self.assertIn(b"pulse:speaker.monitor", self.succeed("listen", "--list-devices"))

    def test_a_device_is_chosen_by_name_or_number(self):
        monitor = next(device["number"] for device in self.listed("listen")
                       if device["device"] == "pulse:speaker.monitor")
        listening = self.begin("listen", "--device", str(monitor), "--count", "1", "--json")
        sending = self.begin("send", "--data", "CAFE01", "--device", "pulse:speaker", "--json")
        self.assertEqual(json.loads(listening.stdout.readline())["message"], "CAFE0100")
        sending.kill()
        for arguments, said in ((("listen", "--device", "pulse:speaker"), b"it only plays"),
                                (("send", "--data", "00", "--device", "99"), b"--list-devices")):
            running = self.begin(*arguments)
            self.assertIn(said, running.communicate()[1])
            self.assertEqual(running.returncode, 2)


command_case.main()
