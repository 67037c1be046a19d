#include "reading.hpp"
#include "station.hpp"

#include <algorithm>
#include <cstdio>

int main()
{
    const weather::Station station{"Utsira", weather::Kind::LAND, 59.3, 4.9};
    const weather::Reading reading{station.name, 0, {8.5F, 9.25F, 9.0F}};
    std::printf("%s: %.2f degrees at most\n", reading.station.c_str(),
                *std::max_element(reading.celsius.begin(), reading.celsius.end()));
}
