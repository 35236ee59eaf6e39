#!/usr/bin/env python3
"""Prints the messages in a WAV file, each once, and where there are none, why.

    receive.py FILE.wav

The receiver library is found as any other is: LD_LIBRARY_PATH=PREFIX/lib for one in a folder of its own.
"""

import ctypes
import sys
import wave
from ctypes import c_double, c_float, c_int32, c_int64, c_uint8, c_uint32, c_uint64


class Settings(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("sample_rate", c_int32), ("lengths", c_uint32),
                ("methods", c_uint32)]


class Heard(ctypes.Structure):
    """A burst; include/tonelink/receiver.h says what each field means."""
    _fields_ = [("size", c_uint32), ("nbits", c_int32), ("message", c_uint8 * 8),
                ("first_sample", c_int64), ("seconds", c_double), ("level_dbfs", c_float),
                ("snr_db", c_float), ("clock_ppm", c_float), ("copies", c_int32),
                ("methods", c_uint32), ("repeats", c_uint32), ("positions", c_uint32)]


class Reception(ctypes.Structure):
    """What has reached the receiver."""
    _fields_ = [("size", c_uint32), ("reason", c_int32), ("recent_reason", c_int32),
                ("heard", c_uint32), ("unread", c_uint32), ("dropped", c_uint32),
                ("seconds", c_double), ("frames", c_uint64), ("lost_frames", c_uint64),
                ("clipped_frames", c_uint64), ("invalid_frames", c_uint64),
                ("level_dbfs", c_float), ("peak_dbfs", c_float), ("band_dbfs", c_float),
                ("band_edge_hz", c_float), ("missing_db", c_float), ("unread_snr_db", c_float),
                ("unread_ppm", c_float), ("spectrum_dbfs", c_float * 22)]


class Receiver:
    """A stream of sound at one sample rate; to be used in a with statement."""

    def __init__(self, sample_rate):
        self.library = ctypes.CDLL("libtonelink-receiver.so.0")
        self.library.tonelink_receiver_text.restype = ctypes.c_char_p
        self.library.tonelink_receiver_reason.restype = ctypes.c_char_p
        self.receiver = ctypes.c_void_p()
        settings = Settings(size=ctypes.sizeof(Settings), sample_rate=sample_rate)
        result = self.library.tonelink_receiver_open(ctypes.byref(settings),
                                                     ctypes.byref(self.receiver))
        if result != 0:
            text = self.library.tonelink_receiver_text(result).decode()
            raise ValueError(f"cannot receive at {sample_rate} Hz: {text}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.library.tonelink_receiver_close(self.receiver)

    def push(self, frames, channels=1):
        """Takes bytes of 16-bit samples, and hears their first channel."""
        count = len(frames) // (2 * channels)
        self.library.tonelink_receiver_push_s16(self.receiver, frames, ctypes.c_size_t(count),
                                                ctypes.c_size_t(channels))

    def flush(self):
        """The stream ends here."""
        self.library.tonelink_receiver_flush(self.receiver)

    def heard(self):
        """Takes the bursts that wait."""
        heard = Heard(size=ctypes.sizeof(Heard))
        while self.library.tonelink_receiver_next(self.receiver, ctypes.byref(heard)) == 1:
            yield Heard.from_buffer_copy(heard)

    def report(self):
        """What has reached it, and why nothing is heard."""
        report = Reception(size=ctypes.sizeof(Reception))
        self.library.tonelink_receiver_report(self.receiver, ctypes.byref(report))
        return report

    def reason(self, report):
        """The reason as a word: "band_cut"."""
        return self.library.tonelink_receiver_reason(report.reason).decode()


def print_new(receiver):
    """Prints what was not heard in the three seconds before."""
    for heard in receiver.heard():
        if heard.repeats == 0:
            message = bytes(heard.message[:heard.nbits // 8])
            print(f"{heard.seconds:8.3f} s  {heard.level_dbfs:5.1f} dBFS  {message.hex().upper()}")


def main(name):
    with wave.open(name) as sound, Receiver(sound.getframerate()) as receiver:
        if sound.getsampwidth() != 2:
            raise ValueError("samples are not of 16 bits")
        while frames := sound.readframes(sound.getframerate()):  # a second at a time
            receiver.push(frames, sound.getnchannels())
            print_new(receiver)
        receiver.flush()
        print_new(receiver)
        report = receiver.report()
        if report.heard == 0:
            print(f"nothing heard in {report.seconds:.1f} s: {receiver.reason(report)}")
        return 0 if report.heard > 0 else 1


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: receive.py FILE.wav")
    try:
        sys.exit(main(sys.argv[1]))
    except (OSError, EOFError, ValueError, wave.Error) as error:
        print(f"receive.py: cannot receive from \"{sys.argv[1]}\": {error}", file=sys.stderr)
        sys.exit(2)
