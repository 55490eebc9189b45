#!/usr/bin/python3
"""Makes prompts of made-up speech, for tools/compose_calls.py where nobody has recorded any.

usage: make_prompts.py FOLDER

A prompt is a buzz of a fixed pitch that swells and fades four times a second, as syllables do, with 0.1 s of silence at
either end. Two speakers, as languages "aa" and "bb", with two prompts each; no pitch is used twice.
"""

import array
import math
import os
import sys
import wave

RATE = 8000
SPEAKERS = {"aa": (110, 200), "bb": (130, 170)}


def made_up_speech(pitch, syllables):
    """Buzzing of a pitch in Hz."""
    count = syllables * RATE // 4
    samples = array.array("h", bytes(2 * RATE // 10))
    for i in range(count):
        swell = math.sin(math.pi * i / (RATE / 4)) ** 2 + 0.1
        buzz = sum(math.sin(2 * math.pi * pitch * k * i / RATE) / k for k in range(1, 12))
        samples.append(round(6000 * swell * buzz))
    samples.extend(array.array("h", bytes(2 * RATE // 10)))
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def make_prompts(folder):
    for language, pitches in SPEAKERS.items():
        voice = os.path.join(folder, language + "_XX_m_Nobody")
        os.makedirs(voice, exist_ok=True)
        for number, pitch in enumerate(pitches):
            with wave.open(os.path.join(voice, "%d.wav" % number), "wb") as out:
                out.setparams((1, 2, RATE, 0, "NONE", ""))
                out.writeframes(made_up_speech(pitch, 4 + 3 * number).tobytes())


def main(arguments):
    if len(arguments) != 2 or arguments[1].startswith("-"):
        print(__doc__)
        return 0 if arguments[1:] in (["-h"], ["--help"]) else 2
    try:
        make_prompts(arguments[1])
    except OSError as error:
        print("make_prompts.py: %s" % error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
