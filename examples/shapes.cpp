#include <lindra/lindra.hpp>

#include <iostream>

void tell(const lindra::repair &told) {
    std::cerr << told.file << ": byte " << told.offset << ": " << told.text << '\n';
}

int main(int argc, char **argv) try {
    if (argc != 2) return 2;
    const lindra::shapefile file(argv[1], {.encoding = "CP1252", .on_repair = tell});
    for (const auto &record : file) {
        std::cout << "record " << record.number() << '\n';
        for (const auto &part : record.parts())
            for (const auto &point : part)
                std::cout << point.x << ' ' << point.y << '\n';
        if (file.has_attributes())
            if (const auto name = record.attributes()[0]; std::holds_alternative<std::string>(name))
                std::cout << file.fields()[0].name << ": " << std::get<std::string>(name) << '\n';
        std::cout << geojson(record) << '\n';
    }
} catch (const lindra::error &reason) {
    std::cerr << reason.what() << '\n';
    return 1;
}
