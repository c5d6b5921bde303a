#include "hub/PlaybackState.h"

#include "decode/DecodeChannel.h"

namespace
{

using State = CDecodeChannel::EPlayState;

bool isWithin(int nState, int nFirst, int nLast)
{
    return nState >= nFirst && nState <= nLast;
}

int nextStep(int nState, int nFirst, int nLast)
{
    if (nState == nLast)
        return State::kNormal;
    return isWithin(nState, nFirst, nLast) ? nState + 1 : nFirst;
}

} // namespace

int PlayStateToStatus(int nState)
{
    return pageCodeOf(nState).value_or(0);
}

int PlayStateToSpeedStep(int nState)
{
    if (isWithin(nState, State::kSlowFirst, State::kSlowLast))
        return nState - State::kSlowFirst + 1;
    if (isWithin(nState, State::kFastFirst, State::kFastLast))
        return nState - State::kFastFirst + 1;
    return -1;
}

int fasterState(int nState)
{
    return nextStep(nState, State::kFastFirst, State::kFastLast);
}

int slowerState(int nState)
{
    return nextStep(nState, State::kSlowFirst, State::kSlowLast);
}
