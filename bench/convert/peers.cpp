#include "bench/convert/peers.h"

namespace bench {

std::vector<Contestant> peers_for(const Task& task, Size size, unsigned threads)
{
    std::vector<Contestant> peers;
#ifdef VEX_HAS_OPENCV
    add_opencv(task, size, threads, peers);
#endif
#ifdef VEX_HAS_SWSCALE
    add_swscale(task, size, threads, peers);
#endif
    static_cast<void>(task);
    static_cast<void>(size);
    static_cast<void>(threads);
    return peers;
}

}  // namespace bench
