#include "Demo/DemoSound.h"

#include "Demo/Choreography.h"

#include <algorithm>
#include <cstdint>
#include <random>

namespace Nimb::Authoring::Demo {

namespace {

constexpr double c_Rate = 48000;
constexpr double c_Peak = 0.25;
constexpr auto c_Frames = static_cast<std::size_t>(c_Rate * c_SecondsPerBeat * c_BeatsPerLoop);

double Wave(double turns) {
    return std::sin(2 * c_Pi * turns);
}

/// Hertz of a MIDI key; 69 is 440 Hz.
double Pitch(int key) {
    return 440 * std::exp2((key - 69) / 12.0);
}

/// Two channels that end where they begin.
class Mixer {
public:
    Mixer() : m_Samples(2 * c_Frames) {}

    /// Adds voice(t), t in seconds from 0 to `length`. `pan`: -1 is left, 1 is right.
    template <class Voice>
    void Add(double beat, double length, double volume, double pan, const Voice& voice) {
        const auto start = static_cast<std::size_t>(beat * c_SecondsPerBeat * c_Rate);
        const double left = volume * std::cos((pan + 1) * c_Pi / 4), right = volume * std::sin((pan + 1) * c_Pi / 4);
        for (std::size_t i = 0; i < static_cast<std::size_t>(length * c_Rate); ++i) {
            const double t = static_cast<double>(i) / c_Rate;
            // A last soft step to silence for voices that have not died away.
            const double value = voice(t) * glm::smoothstep(length, 0.8 * length, t);
            const std::size_t frame = (start + i) % c_Frames;
            m_Samples[2 * frame] += value * left;
            m_Samples[2 * frame + 1] += value * right;
        }
    }

    std::vector<float> Normalised() const {
        double peak = 0;
        for (const double sample : m_Samples) {
            peak = std::max(peak, std::abs(sample));
        }
        std::vector<float> samples;
        for (const double sample : m_Samples) {
            samples.push_back(static_cast<float>(sample * c_Peak / peak));
        }
        return samples;
    }

private:
    std::vector<double> m_Samples;
};

void AddMallet(Mixer& mixer, double beat, int key, double volume, double pan) {
    const double pitch = Pitch(key);
    mixer.Add(beat, 1.2, volume, pan, [pitch](double t) {
        const double wood = Wave(pitch * t) * std::exp(-5.5 * t) + 0.30 * Wave(3.93 * pitch * t) * std::exp(-16 * t) +
                            0.10 * Wave(9.5 * pitch * t) * std::exp(-45 * t);
        return wood * glm::smoothstep(0.0, 0.002, t);
    });
}

void AddBass(Mixer& mixer, double beat, int key) {
    const double pitch = Pitch(key);
    mixer.Add(beat, 0.9, 0.85, 0, [pitch](double t) {
        return (Wave(pitch * t) + 0.35 * Wave(2 * pitch * t) + 0.12 * Wave(3 * pitch * t)) * std::exp(-3.2 * t) *
               glm::smoothstep(0.0, 0.006, t);
    });
}

/// A foot that lands.
void AddStep(Mixer& mixer, double beat, double volume, double pan) {
    mixer.Add(beat, 0.25, volume, pan, [](double t) {
        return Wave(52 * t - 2.2 * std::exp(-28 * t)) * std::exp(-14 * t) * glm::smoothstep(0.0, 0.002, t);
    });
}

void AddHiHat(Mixer& mixer, double beat, double volume, double decay) {
    std::minstd_rand random(static_cast<std::uint32_t>(beat * 100) + 1);
    double previous = 0;
    mixer.Add(beat, 0.12, volume, 0.25, [&, decay](double t) {
        const double noise = static_cast<double>(random()) / static_cast<double>(std::minstd_rand::max()) - 0.5;
        const double high = noise - previous;
        previous = noise;
        return high * std::exp(-decay * t) * glm::smoothstep(0.0, 0.001, t);
    });
}

struct Note {
    double beat;
    int key;
};

void AddTune(Mixer& mixer) {
    // A note on every throw, from the side of the hand that throws; the others between.
    constexpr Note tune[] = {{0, 76}, {0.5, 79}, {1, 84},   {1.5, 83}, {2, 81},  {2.5, 79},
                             {3, 77}, {4, 74},   {4.5, 77}, {5, 79},   {5.5, 74}};
    for (const Note& note : tune) {
        const bool isThrow = note.beat == std::floor(note.beat);
        const double hand = std::fmod(note.beat, 2) < 1 ? -0.45 : 0.45;
        AddMallet(mixer, note.beat, note.key, isThrow ? 0.62 : 0.42, hand);
    }
}

void AddAccompaniment(Mixer& mixer) {
    AddBass(mixer, 0, 36);
    AddBass(mixer, 3, 43);
    AddBass(mixer, 5, 41);
    for (const double beat : {1.0, 2.0}) {
        for (const int key : {64, 67, 69}) {
            AddMallet(mixer, beat, key, 0.20, -0.15);
        }
    }
    for (const double beat : {4.0, 5.0}) {
        for (const int key : {62, 65, 71}) {
            AddMallet(mixer, beat, key, 0.20, 0.15);
        }
    }
}

}  // namespace

DemoSound::DemoSound() {
    Mixer mixer;
    AddTune(mixer);
    AddAccompaniment(mixer);
    for (std::size_t i = 0; i < c_BeatsPerLoop; ++i) {
        const auto beat = static_cast<double>(i);
        // Seen from the front, the left foot is at the right.
        AddStep(mixer, beat, i % 3 == 0 ? 0.8 : 0.45, i % 2 == 0 ? 0.2 : -0.2);
        AddHiHat(mixer, beat, i % 3 == 0 ? 0.10 : 0.22, 60);
        AddHiHat(mixer, beat + 0.5, 0.14, 90);
    }
    m_Samples = mixer.Normalised();
}

std::size_t DemoSound::Read(float* samples, std::size_t frameCount) {
    const std::size_t count = std::min(frameCount, (m_Samples.size() - m_Position) / 2);
    std::copy_n(m_Samples.begin() + static_cast<std::ptrdiff_t>(m_Position), 2 * count, samples);
    m_Position += 2 * count;
    return count;
}

}  // namespace Nimb::Authoring::Demo
