#include <lindra/lindra.hpp>

#include <iostream>

void tell(const lindra::repair &told) {
    std::cerr << told.file << ": byte " << told.offset << ": " << told.text << '\n';
}

// Lists the images of a texture, and writes the first one to standard output as a picture (PPM).
int main(int argc, char **argv) try {
    if (argc != 2) return 2;
    const lindra::texture file(argv[1], {.on_repair = tell});
    for (const auto &image : file.images())
        std::cerr << "element " << image.element << ", face " << image.face << ", level " << image.level
                  << ": " << image.width << " x " << image.height << " pixels\n";
    const auto first = file.images()[0];
    std::cout << "P6\n" << first.width << ' ' << first.height << "\n255\n";
    for (const uint32_t pixel : file.expand(first))
        for (const int shift : {16, 8, 0})
            std::cout.put(static_cast<char>(pixel >> shift));
} catch (const lindra::error &reason) {
    std::cerr << reason.what() << '\n';
    return 1;
}
