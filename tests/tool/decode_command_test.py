"""What `tonelink decode` hears in sounds that no command makes. Usage: decode_command_test.py COMMAND"""
import json

import command_case


class Decode(command_case.CommandCase):
    def decode(self, *arguments):
        return [json.loads(line) for line in self.succeed("decode", "--json", *arguments).splitlines()]

    def test_hears_messages_in_any_channel_at_any_time(self):
        burst = self.raw("--data", "CAFE01").tolist()
        for gains, lead, *arguments in (([0.3], 44100 * 61 // 10), ([0.5, 0.1], 0),
                                        ([0, -0.5, 0.5], 0, "--channel", "3")):
            samples = [int(s * gain) for s in [0] * lead + burst for gain in gains]
            self.write_sound("a.wav", samples, channels=len(gains))
            [heard] = self.decode("a.wav", *arguments)
            self.assertEqual(heard["message"], "CAFE0100", gains)
            self.assertAlmostEqual(heard["time"], lead / 44100, delta=0.005)

    def test_all_acceptances_are_a_symbol_grid_apart(self):
        self.succeed("encode", "--data", "CAFE01", "--copies", "2", "-o", "a.wav")
        every = self.decode("--all", "a.wav")
        samples = [one["sample"] for one in every]
        self.assertGreater(len(samples), 20)
        self.assertEqual(samples, sorted(samples))
        self.assertEqual({(sample - samples[0]) % 80 for sample in samples}, {0})
        self.assertEqual({one["message"] for one in every}, {"CAFE0100"})


command_case.main()
