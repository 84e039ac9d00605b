// Prints the picture of a graph with hostile names, for a look at it in a browser.
#include "tests/tvsource/HostileGraph.h"
#include "tvsource/graph/GraphPicture.h"

#include <cstdio>

int main() {
    const std::string svg = tvsource::SvgOfGraph(HostileGraph(), kHostileName, tvsource::SvgPlace::File);
    return std::fwrite(svg.data(), 1, svg.size(), stdout) == svg.size() ? 0 : 1;
}
