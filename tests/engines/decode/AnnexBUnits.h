// Cuts a bare stream file into access units, for feeding it in real time.
#pragma once

#include "AnnexB.h"
#include "Clip.h"

struct ClipUnit {
    clip::Bytes payload;
    lumo::VideoCodec codec;
    bool key;
};

inline std::vector<ClipUnit> cutClip(const clip::Bytes& bytes)
{
    std::vector<ClipUnit> units;
    lumo::AnnexBSplitter splitter;
    constexpr size_t kStep = 65536;
    for (size_t at = 0; at < bytes.size(); at += kStep)
        splitter.push(bytes.data() + at, std::min(kStep, bytes.size() - at),
                      [&](lumo::VideoCodec codec, bool key, const uint8_t* unit, size_t size) {
                          units.push_back({{unit, unit + size}, codec, key});
                      });
    return units;
}
