#include "PictureRun.h"

namespace lumo
{
namespace
{

size_t bytesOf(const Picture& picture)
{
    size_t bytes = 0;
    for (const AVBufferRef* buffer : picture.frame->buf)
        bytes += buffer ? buffer->size : 0;
    return bytes;
}

} // namespace

void PictureRun::keep(bool on)
{
    m_keep = on;
    trim();
}

void PictureRun::clear()
{
    m_pictures.clear();
    m_next = 0;
}

void PictureRun::advance()
{
    ++m_next;
    trim();
}

bool PictureRun::back()
{
    if (m_next < 2)
        return false;
    --m_next;
    return true;
}

void PictureRun::trim()
{
    size_t kept = 0;
    for (size_t i = m_next; m_keep && i-- > 0;)
        kept += bytesOf(m_pictures[i]);
    while (m_next > 1 && (!m_keep || kept > kKeptBytes)) {
        kept -= m_keep ? bytesOf(m_pictures.front()) : 0;
        m_pictures.pop_front();
        --m_next;
    }
}

} // namespace lumo
