#include "Micro/Program.h"

int main(int count, char** arguments) {
    return tandrel::bench::runBodies(count, arguments, tandrel::bench::allBodies);
}
