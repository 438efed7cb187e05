#pragma once

#include <QObject>
#include <QString>

#include <memory>

// Short tones for warnings. On the instrument they come from the Linux input beeper: the first
// event device that can play a tone (EV_SND with SND_TONE, or SND_BELL). Without one the
// desktop's bell stands in. Nothing here blocks: the tone is switched off again by a timer.
class Beeper : public QObject
{
    Q_OBJECT
public:
    // The process-wide beeper, looked for in /dev/input on first use.
    static void beepInMs(int ms);
    // Replaces the process-wide beeper (tests hand in one of their own); nullptr goes back to
    // looking in /dev/input. The beeper is not owned.
    static void setProcessBeeper(Beeper *beeper);

    // Looks for a beeper among the event* devices of deviceDirectory.
    explicit Beeper(const QString &deviceDirectory, QObject *parent = nullptr);
    // Writes tone events to eventFile as to an input device that plays tones, without asking
    // the file what it can do (a FIFO, in tests).
    static std::unique_ptr<Beeper> forToneDevice(const QString &eventFile);
    ~Beeper() override;

    void beep(int ms);
    bool hasDevice() const { return m_fd >= 0; }
    QString devicePath() const { return m_devicePath; }

private:
    enum class Sound { None, Tone, Bell };

    Beeper(const QString &devicePath, int fd, Sound sound);
    void findDevice(const QString &deviceDirectory);
    void writeSound(int value);

    QString m_devicePath;
    int m_fd = -1;
    Sound m_sound = Sound::None;
    bool m_fallbackReported = false;
    // Counts tones, so that the timer of an earlier tone does not end a later one early.
    unsigned m_toneNumber = 0;
};
