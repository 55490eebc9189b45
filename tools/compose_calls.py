#!/usr/bin/python3
"""Composes telephone calls, with exact labels, from recorded prompts.

Takes the spoken prompts of the Debian packages asterisk-core-sounds-*-wav (8 kHz, 16 bit, one speaker a language),
places them between pauses and call tones, adds noise at a stated signal-to-noise ratio, and writes for each call a
WAV file and a label text beside it (start<TAB>stop<TAB>label, seconds, every time a multiple of a sample). The labels
VOICE, OTHER (call tones) and SILENCE cover the call without gap or overlap.

VOICE comes from the energy of the clean prompt and the place where it was put, so it stays true under noise. The
ratio is measured over the VOICE samples of the call: power of the clean speech over power of the noise added there.

--long-pauses has some of the pauses last for seconds, as when nobody speaks but the line is open: with short ones only, a
detector never hears much noise at once.

--speed plays the prompts of each call faster or slower, as one speed, so that few speakers sound like many: pitch and
formants move together.

Calls can be made harder, as telephones deliver them: more kinds of noise, other things to hear than voice and call tones,
hum, rumble, clicks, rooms, the band of a line, levels and codecs (tools/telephone_line.py), each by an option of its own;
--telephone is all of them. Where an option is a share, so many of the calls have it.

Also writes calls.lst (the recordings, a name a line), provenance.tsv (which prompt stands where) and CREDITS.txt (the
calls are adaptations of the prompts and stay under their licences). The same options give the same bytes.
"""

import argparse
import array
import copy
import glob
import math
import operator
import os
import sys
import wave

import numpy

import telephone_line
from telephone_line import RATE

SOUNDS = "/usr/share/asterisk/sounds"
# What is in the packages but no speech.
NO_SPEECH = {"beep", "beeperr", "ascending-2tone", "descending-2tone", "confbridge-join", "confbridge-leave",
             "tt-monkeys"}
CREDITS = {
    "en": "Allison Smith, CC-BY-SA-3.0",
    "es": "Allison Smith, CC-BY-SA-3.0",
    "fr": "June Wallack, CC-BY-SA-3.0",
    "it": "Carlo Flora (www.carloflora.com), CC-BY-3.0",
    "ru": "IVRvoice.ru, provided by Maxim Topal, CC-BY-3.0",
}

# The energy rule: mean square over two hops at every hop; speech above the threshold; short gaps closed, short runs
# dropped.
HOP = RATE // 100
FLOOR = 10.0 ** -4.2
BELOW_LOUD = 10.0 ** -3.0
LONGEST_GAP = RATE // 5
SHORTEST_RUN = RATE // 20

# Besides ringback, busy and dialled digits: by kind, some (frequencies one after the other, (seconds on, seconds off)).
TONES = {
    "dial": [([(350, 440)], ([4.0], [0.5])), ([(425,)], ([3.0], [0.3])), ([(400, 450)], ([2.5], [0.4]))],
    "information": [([(950,), (1400,), (1800,)], ([0.33] * 3, [0.01, 0.01, 1.0])),
                    ([(914,), (1371,), (1777,)], ([0.38, 0.27, 0.38], [0.01, 0.01, 0.8]))],
    "waiting": [([(440,)], ([0.3], [2.0])), ([(425,), (425,)], ([0.2, 0.2], [0.2, 2.0]))],
    "fax": [([(1100,)], ([0.5], [1.5])), ([(2100,)], ([2.6], [0.5]))],
    "beep": [([(1000,)], ([0.25], [0.5])), ([(800,)], ([0.4], [0.8])), ([(1400,)], ([0.15], [0.3]))],
}
SOUNDS_OF_LINES = ("music", "noise")
CALL_TONES = ("ringback", "busy", "dtmf")

NOISES = ("white", "room", "pink", "brown", "street", "music", "babble")
OTHERS = CALL_TONES + tuple(TONES) + SOUNDS_OF_LINES
CODECS = ("pcm", "alaw", "mulaw", "gsm")
SHARES = {"room": "echoes of a room", "hum": "hum of the mains", "rumble": "rumble", "clicks": "clicks",
          "band": "the band of a telephone line, 300 to 3400 Hz"}
LINE_DEFAULTS = {"noise": "room,white", "other": ",".join(CALL_TONES), "level": "", "codec": "pcm",
                 **dict.fromkeys(SHARES, "0")}
# More often what is hard to tell from voice; no babble, which is voice to a detector that hears far speakers.
TELEPHONE = {"noise": "white,room,pink,brown,street,street,music,music",
             "other": ",".join(OTHERS + SOUNDS_OF_LINES + SOUNDS_OF_LINES + ("music",)), "level": "-40,-3",
             "codec": ",".join(CODECS), "room": "0.4", "hum": "0.3", "rumble": "0.3", "clicks": "0.2", "band": "0.5"}

DTMF_ROWS = (697, 770, 852, 941)
DTMF_COLUMNS = (1209, 1336, 1477, 1633)


class Random:
    """SplitMix64: the same numbers everywhere, whatever the Python version."""

    MASK = (1 << 64) - 1

    def __init__(self, seed):
        self.state = seed & self.MASK

    def bits(self):
        self.state = (self.state + 0x9E3779B97F4A7C15) & self.MASK
        z = self.state
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & self.MASK
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & self.MASK
        return z ^ (z >> 31)

    def below(self, count):
        return self.bits() * count >> 64

    def pick(self, items):
        return items[self.below(len(items))]

    def uniform(self, low, high):
        return low + (high - low) * (self.bits() >> 11) / float(1 << 53)


class Prompt:
    """A recorded prompt: samples, and the sample intervals in which its speaker speaks."""

    def __init__(self, path):
        self.path = path
        with wave.open(path) as source:
            if (source.getframerate(), source.getnchannels(), source.getsampwidth()) != (RATE, 1, 2):
                raise ValueError("%s: not %d Hz, one channel, 16 bit" % (path, RATE))
            self.samples = array.array("h", source.readframes(source.getnframes()))
        if sys.byteorder == "big":
            self.samples.byteswap()
        self.voice = speech_intervals(self.samples)

    def at_speed(self, speed):
        """This prompt by another speaker: faster and higher, or slower and lower."""
        other = copy.copy(self)
        count = round(len(self.samples) / speed)
        spectrum = numpy.fft.rfft(numpy.asarray(self.samples, dtype=float))[:count // 2 + 1]
        other.samples = (numpy.fft.irfft(spectrum, count) * (count / len(self.samples))).tolist()
        other.voice = speech_intervals(other.samples)
        return other


def speech_intervals(samples):
    """Sample intervals [start, stop) of a clean recording that the energy rule calls speech."""
    sums = [sum(map(operator.mul, hop, hop)) for hop in
            (samples[i:i + HOP] for i in range(0, len(samples) - HOP + 1, HOP))]
    energies = [(a + b) / (2 * HOP * 32768.0 ** 2) for a, b in zip(sums, sums[1:])]
    if not energies:
        return []
    threshold = max(FLOOR, percentile(energies, 0.99) * BELOW_LOUD)
    runs = []
    for index, energy in enumerate(energies):
        if energy <= threshold:
            continue
        start, stop = index * HOP, (index + 2) * HOP
        if runs and start - runs[-1][1] <= LONGEST_GAP:
            runs[-1][1] = stop
        else:
            runs.append([start, stop])
    return [(start, stop) for start, stop in runs if stop - start >= SHORTEST_RUN]


def percentile(values, part):
    """Linear interpolation between the neighbours in order."""
    ordered = sorted(values)
    place = part * (len(ordered) - 1)
    low = int(place)
    high = min(low + 1, len(ordered) - 1)
    return ordered[low] + (ordered[high] - ordered[low]) * (place - low)


def tone(frequencies, count, level):
    """count samples of a sum of sines, each of this level (1 is full scale), with edges of 2 ms."""
    edge = min(RATE // 500, count // 2)
    samples = [0.0] * count
    for frequency in frequencies:
        step = 2.0 * math.pi * frequency / RATE
        samples = [s + math.sin(step * i) for i, s in enumerate(samples)]
    for i in range(edge):
        samples[i] *= i / edge
        samples[count - 1 - i] *= i / edge
    return [s * level * 32768.0 for s in samples]


def make_noise(random, kind, count):
    """count samples of stationary noise; its power is of no concern, add_noise measures it."""
    # Twelve 5-bit numbers of one draw add up to a bell-shaped one: no function of the machine's library is involved.
    numbers = telephone_line.draw(random, count)
    total = sum((numbers >> numpy.uint64(s)) & numpy.uint64(31) for s in range(0, 60, 5))
    white = ((total.astype(int) - 186) / 32.0).tolist()
    if kind == "white":
        return white
    # "room": most of its power below 300 Hz, as ventilation and traffic have it.
    room, last = [], 0.0
    for value in white:
        last = 0.8 * last + value
        room.append(last)
    return room


class Noises:
    """One table of noise a kind, white and room; a call reads it from a random place, wrapping round. Other kinds are made
    for each call."""

    LENGTH = 1 << 17

    def __init__(self, random, kinds):
        self.kinds = sorted(kinds)
        self.tables = {kind: make_noise(random, kind, self.LENGTH) for kind in ("white", "room")}

    def take(self, random, kind, count, prompts):
        if kind not in self.tables:
            return list(telephone_line.background(random, kind, count, prompts))
        table = self.tables[kind]
        start = random.below(len(table))
        return (table[start:] + table * (count // len(table) + 1))[:count]


class Call:
    """A call under construction: clean samples, and who is heard when."""

    def __init__(self):
        self.samples = []
        self.intervals = []  # (start, stop, label), in order, silence left out
        self.places = []     # (start, stop, what, noise)
        self.noise = "clean"

    def add_pause(self, seconds):
        self.samples.extend([0.0] * int(seconds * RATE))

    def add_tone(self, name, frequencies, seconds, level):
        start = len(self.samples)
        self.samples.extend(tone(frequencies, int(seconds * RATE), level))
        self.intervals.append((start, len(self.samples), "OTHER"))
        self.places.append((start, len(self.samples), name, self.noise))

    def add_sound(self, name, samples, level):
        """Samples that are no voice, at this mean level (1 is full scale)."""
        start = len(self.samples)
        gain = level * 32768.0 / max(1e-9, math.sqrt(sum(map(operator.mul, samples, samples)) / len(samples)))
        self.samples.extend(gain * sample for sample in samples)
        self.intervals.append((start, len(self.samples), "OTHER"))
        self.places.append((start, len(self.samples), name, self.noise))

    def add_prompt(self, prompt, gain, name):
        start = len(self.samples)
        self.samples.extend([gain * s for s in prompt.samples])
        self.intervals.extend((start + a, start + b, "VOICE") for a, b in prompt.voice)
        self.places.append((start, len(self.samples), name, self.noise))

    def add_call(self, other):
        """Another call after this one."""
        start = len(self.samples)
        self.samples.extend(other.samples)
        self.intervals.extend((start + a, start + b, label) for a, b, label in other.intervals)
        self.places.extend((start + a, start + b, what, noise) for a, b, what, noise in other.places)

    def covered(self):
        """The intervals with the silence between them: [0, length) without gap or overlap."""
        whole, at = [], 0
        for start, stop, label in self.intervals + [(len(self.samples), len(self.samples), "")]:
            if start > at:
                whole.append((at, start, "SILENCE"))
            if stop > start:
                whole.append((start, stop, label))
            at = stop
        return whole

    def voice_power(self, samples):
        """Of samples of the same length, where there is voice in this call."""
        total, count = 0.0, 0
        for start, stop, label in self.intervals:
            if label == "VOICE":
                total += sum(map(operator.mul, samples[start:stop], samples[start:stop]))
                count += stop - start
        return total / count

    def add_noise(self, noise, snr):
        """Adds noise at a ratio in dB over the voice, by scaling the noise."""
        gain = math.sqrt(self.voice_power(self.samples) / self.voice_power(noise) / 10.0 ** (snr / 10.0))
        self.samples = [s + gain * n for s, n in zip(self.samples, noise)]

    def pcm(self):
        """The samples as 16-bit numbers, scaled down where they would not fit."""
        peak = max(map(abs, self.samples))
        if peak > 32767.0:
            factor = 32767.0 / peak
            self.samples = [factor * s for s in self.samples]
        return array.array("h", map(round, self.samples))


def add_call_tone(random, call, others):
    """Ringing, busy, dialling or whatever else is no voice, as one hears them in a call."""
    kind = random.pick(others)
    level = random.uniform(0.04, 0.15)
    if kind in TONES:
        frequencies, sounds = random.pick(TONES[kind])
        for _ in range(1 + random.below(2)):
            for frequency, on, off in zip(frequencies, *sounds):
                call.add_tone("%s %s" % (kind, "+".join(map(str, frequency))), frequency, on, level)
                call.add_pause(off)
        return
    if kind in SOUNDS_OF_LINES:
        call.add_sound(kind, telephone_line.sound(random, kind), random.uniform(0.01, 0.2))
        call.add_pause(random.uniform(0.1, 1.0))
        return
    if kind == "dtmf":
        for _ in range(3 + random.below(6)):
            row, column = random.pick(DTMF_ROWS), random.pick(DTMF_COLUMNS)
            call.add_tone("dtmf %d+%d" % (row, column), (row, column), random.uniform(0.07, 0.15), level)
            call.add_pause(random.uniform(0.06, 0.15))
        return
    european = random.below(2) == 0
    frequencies = (425,) if european else ((440, 480) if kind == "ringback" else (480, 620))
    on, off = (0.5, 0.5) if kind == "busy" else (random.uniform(1.0, 2.0), random.uniform(1.5, 2.5))
    for _ in range(1 + random.below(3)):
        call.add_tone("%s %s" % (kind, "+".join(map(str, frequencies))), frequencies, on, level)
        call.add_pause(off)


def pause_after_prompt(random, long_pauses):
    """Seconds: short inside what one speaker says, longer between turns, or for that share of them as long as one waits."""
    if telephone_line.by_chance(random, long_pauses):
        return random.uniform(3.0, 12.0)
    return random.uniform(0.1, 0.6) if random.below(3) else random.uniform(0.8, 3.0)


def compose(random, noises, prompts, seconds, snr, options):
    """One call of about that length; snr None leaves it clean."""
    call = Call()
    kind = random.pick(noises.kinds)
    if snr is not None:
        call.noise = "%g dB %s" % (snr, kind)
    gain = 10.0 ** (random.uniform(-12.0, -3.0) / 20.0)
    speed = random.uniform(*options.speed) if options.speed else None
    begins_late = telephone_line.by_chance(random, options.long_pauses)
    call.add_pause(random.uniform(1.0, 12.0) if begins_late else random.uniform(0.3, 1.0))
    while len(call.samples) < seconds * RATE or not call.intervals:
        if random.below(6) == 0:
            add_call_tone(random, call, options.other)
        prompt = random.pick(prompts)
        if speed:
            call.add_prompt(prompt.at_speed(speed), gain, "%s at speed %.3f" % (prompt.path, speed))
        else:
            call.add_prompt(prompt, gain, prompt.path)
        call.add_pause(pause_after_prompt(random, options.long_pauses))
    if options.line:
        telephone_line.add_room_by_chance(random, call, options)
    noise = noises.take(random, kind, len(call.samples), prompts)
    if snr is not None:
        call.add_noise(noise, snr)
    if options.line:
        telephone_line.deliver(random, call, options)
    return call


def load_prompts(sounds, language, without):
    """The spoken prompts of a language but for those of these names, in the order of their names."""
    folders = sorted(folder for folder in glob.glob(os.path.join(sounds, language + "_*"))
                     if os.path.isdir(folder) and not os.path.islink(folder))
    prompts = []
    for path in sorted(glob.glob(os.path.join(folders[0], "**", "*.wav"), recursive=True)) if folders else []:
        name = os.path.splitext(os.path.basename(path))[0]
        # 44 bytes of header; prompts of half a second to eight seconds.
        if name not in NO_SPEECH and name not in without and RATE <= os.path.getsize(path) - 44 <= 16 * RATE:
            prompts.append(path)
    if not prompts:
        raise ValueError("no prompts of language %s in %s (package asterisk-core-sounds-%s-wav)"
                         % (language, sounds, language))
    return prompts


class PromptCache:
    """Reads a prompt when it is picked; recordings in which nobody speaks are passed over."""

    def __init__(self, paths):
        self.paths = paths
        self.prompts = {}

    def __len__(self):
        return len(self.paths)

    def __getitem__(self, index):
        for offset in range(len(self.paths)):
            path = self.paths[(index + offset) % len(self.paths)]
            if path not in self.prompts:
                self.prompts[path] = Prompt(path)
            if self.prompts[path].voice:
                return self.prompts[path]
        raise ValueError("nobody speaks in any of %d prompts" % len(self.paths))


def seconds_of(sample):
    """A sample position as text; 1/8000 s has six decimals, so that it is exact."""
    return "%d.%06d" % (sample // RATE, sample % RATE * (1000000 // RATE))


def write_call(folder, name, call):
    with wave.open(os.path.join(folder, name + ".wav"), "wb") as out:
        out.setparams((1, 2, RATE, 0, "NONE", ""))
        pcm = call.pcm()
        if sys.byteorder == "big":
            pcm.byteswap()
        out.writeframes(pcm.tobytes())
    with open(os.path.join(folder, name + ".txt"), "w", encoding="utf-8") as out:
        for start, stop, label in call.covered():
            out.write("%s\t%s\t%s\n" % (seconds_of(start), seconds_of(stop), label))


def parse_number(name, text):
    try:
        return float(text)
    except ValueError:
        raise ValueError("--%s: %s is no number" % (name, text)) from None


def parse_share(name, text):
    share = parse_number(name, text)
    if not 0.0 <= share <= 1.0:
        raise ValueError("--%s is a share, from 0 to 1" % name)
    return share


def parse_kinds(name, text, kinds):
    chosen = text.split(",")
    for kind in chosen:
        if kind not in kinds:
            raise ValueError("--%s: there is no %s, only %s" % (name, kind, ", ".join(kinds)))
    return chosen


def set_line(options):
    """Checks what makes calls harder, and fills in what was not given."""
    for name, value in LINE_DEFAULTS.items():
        if getattr(options, name) is None:
            setattr(options, name, TELEPHONE[name] if options.telephone else value)
    options.noise = parse_kinds("noise", options.noise, NOISES)
    options.other = parse_kinds("other", options.other, OTHERS)
    options.codec = parse_kinds("codec", options.codec, CODECS)
    for name in SHARES:
        setattr(options, name, parse_share(name, getattr(options, name)))
    if options.level != "":
        low, _, high = options.level.partition(",")
        options.level = parse_number("level", low), parse_number("level", high or low)
        if not -90.0 <= options.level[0] <= options.level[1] <= 0.0:
            raise ValueError("--level wants two numbers from -90 to 0, the lower one first")
    options.line = options.level != "" or options.codec != ["pcm"] or any(getattr(options, name) for name in SHARES)


def parse_speed(text):
    """Two speeds, or None for prompts as they were recorded."""
    if text is None:
        return None
    low, _, high = text.partition(",")
    speed = parse_number("speed", low), parse_number("speed", high or low)
    if not 0.5 <= speed[0] <= speed[1] <= 2.0:
        raise ValueError("--speed wants two numbers from 0.5 to 2, the lower one first")
    return speed


def parse_snr(text):
    """A ratio in dB, None for clean; argparse reports the error."""
    if text == "clean":
        return None
    snr = parse_number("snr", text)
    if not -40.0 <= snr <= 100.0:
        raise ValueError("--snr: %s dB is not between -40 and 100" % text)
    return snr


def parse_options(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--out", required=True, help="folder to write to; created")
    parser.add_argument("--languages", default="en,es,fr,it,ru", help="of en,es,fr,it,ru (default: all)")
    parser.add_argument("--calls", type=int, default=4, help="calls a language (default: 4)")
    parser.add_argument("--minutes", type=float, default=10.0, help="length of all calls together (default: 10)")
    parser.add_argument("--snr", default="30,20,10",
                        help='dB, or "clean"; the calls of a language take them in turn (default: 30,20,10)')
    parser.add_argument("--join", action="store_true",
                        help="one recording a language, its calls end to end, instead of one a call")
    parser.add_argument("--noise", help="kinds of noise, of which a call has one: " + ", ".join(NOISES)
                        + " (default: room,white)")
    parser.add_argument("--other", help="what is heard besides voice: " + ", ".join(OTHERS)
                        + " (default: %s)" % ",".join(CALL_TONES))
    for name, what in SHARES.items():
        parser.add_argument("--" + name, metavar="SHARE", help="share of the calls with %s (default: 0)" % what)
    parser.add_argument("--level", metavar="LOW,HIGH", help="peak of the voice of a call, dBFS (default: as it comes)")
    parser.add_argument("--codec", help="of %s, of which a call has gone through one (default: pcm)" % ",".join(CODECS))
    parser.add_argument("--telephone", action="store_true",
                        help="all of these, where they are not given: %s" % " ".join(
                            "--%s %s" % pair for pair in TELEPHONE.items()))
    parser.add_argument("--speed", metavar="LOW,HIGH",
                        help="speed at which the prompts of a call are played, one a call (default: as recorded)")
    parser.add_argument("--long-pauses", default="0", metavar="SHARE",
                        help="share of the pauses that last 3 to 12 s, before the first prompt 1 to 12 s (default: 0)")
    parser.add_argument("--without", default="", metavar="NAMES", help="names of prompts that are left out")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--sounds", default=SOUNDS, help="where the prompts are (default: %(default)s)")
    options = parser.parse_args(arguments[1:])
    languages = options.languages.split(",")
    options.without = set(options.without.split(","))
    try:
        set_line(options)
        options.speed = parse_speed(options.speed)
        options.long_pauses = parse_share("long-pauses", options.long_pauses)
        snrs = [parse_snr(text) for text in options.snr.split(",")]
    except ValueError as error:
        parser.error(str(error))
    if options.calls < 1 or not 0 < options.minutes <= 600:
        parser.error("--calls wants 1 or more, --minutes more than 0 and at most 600")

    return options, languages, snrs


def compose_all(options, languages, snrs):
    """The recordings by name: a call each, or all calls of a language end to end."""
    random = Random(options.seed)
    noises = Noises(random, options.noise)
    seconds = options.minutes * 60.0 / (options.calls * len(languages))
    recordings = {}
    for language in languages:
        prompts = PromptCache(load_prompts(options.sounds, language, options.without))
        for number in range(options.calls):
            call = compose(random, noises, prompts, seconds, snrs[number % len(snrs)], options)
            name = "calls_" + language if options.join else "call_%s_%02d" % (language, number + 1)
            recordings.setdefault(name, Call()).add_call(call)
    return recordings


def write_text(options, name, lines):
    with open(os.path.join(options.out, name), "w", encoding="utf-8") as out:
        out.write("".join(line + "\n" for line in lines))


def main(arguments):
    options, languages, snrs = parse_options(arguments)
    try:
        os.makedirs(options.out, exist_ok=True)
        recordings = compose_all(options, languages, snrs)
        for name, recording in recordings.items():
            write_call(options.out, name, recording)
        write_text(options, "calls.lst", [name + ".wav" for name in recordings])
        write_text(options, "provenance.tsv", ["recording\tstart_s\tstop_s\tnoise\tprompt_or_tone"] + [
            "\t".join((name, seconds_of(start), seconds_of(stop), noise, what))
            for name, recording in recordings.items() for start, stop, what, noise in recording.places])
        write_text(options, "CREDITS.txt",
                   ["Calls composed from recorded prompts (cut together, level changed, tones and noise added)."] +
                   ["%s: package asterisk-core-sounds-%s-wav, %s" % (language, language, CREDITS[language])
                    if language in CREDITS else "%s: prompts in %s" % (language, options.sounds)
                    for language in languages])
    except (OSError, EOFError, ValueError, wave.Error) as error:
        print("compose_calls.py: %s" % error, file=sys.stderr)
        return 1
    for label in ("VOICE", "OTHER", "SILENCE"):
        samples = sum(stop - start for recording in recordings.values()
                      for start, stop, heard in recording.covered() if heard == label)
        print("%-7s %7.1f s" % (label, samples / RATE))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
