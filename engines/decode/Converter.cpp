#include "Converter.h"

#include "FileReader.h"
#include "Recorder.h"
#include "Trouble.h"
#include "common/LocalText.h"

#include <algorithm>
#include <exception>
#include <thread>

namespace lumo
{
namespace
{

constexpr long kTotal = 1000;
constexpr long kReportEvery = 10; // of kTotal

class Conversion
{
public:
    Conversion(std::unique_ptr<FileReader> from, std::unique_ptr<Recorder> to, LumoConvertCallback position,
               intptr_t user)
        : m_from(std::move(from)), m_to(std::move(to)), m_position(position), m_user(user)
    {
    }

    void run()
    {
        try {
            if (copy())
                m_to->finish();
            else
                m_to->abandon();
        } catch (const std::exception& trouble) {
            tellTrouble("conversion ended", trouble.what());
            m_to->abandon();
        }
        m_to.reset();
        m_from.reset();
        tell(kTotal);
    }

private:
    bool copy()
    {
        Packet packet;
        for (long told = 0; m_from->next(packet);) {
            if (!packet.foreign && !m_to->write(packet))
                return false;
            const long at = std::min(kTotal - 1, long(m_from->progress() * kTotal));
            if (at - told >= kReportEvery)
                tell(told = at);
        }
        return true;
    }

    void tell(long at)
    {
        if (m_position)
            m_position(at, kTotal, m_user);
    }

    std::unique_ptr<FileReader> m_from;
    std::unique_ptr<Recorder> m_to;
    const LumoConvertCallback m_position;
    const intptr_t m_user;
};

bool sameFile(const std::string& a, const std::string& b)
{
    std::error_code none;
    return std::filesystem::equivalent(localPath(a), localPath(b), none);
}

} // namespace

bool startConverting(const std::string& source, const std::string& target, LumoConvertCallback position, intptr_t user)
{
    auto from = openFileReader(source);
    if (!from || from->foreign() || sameFile(source, target)) {
        tellTrouble("this cannot be converted", source);
        return false;
    }
    auto to = startConversion(target);
    if (!to) {
        tellSystemTrouble("this cannot be written", target);
        return false;
    }
    auto conversion = std::make_shared<Conversion>(std::move(from), std::move(to), position, user);
    // It owns all it needs and nobody can stop it, so nobody waits for it either.
    std::thread([conversion] { conversion->run(); }).detach();
    return true;
}

} // namespace lumo
