#include "bench/gif_peers.h"

#include <gif_lib.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace orv::bench
{
namespace
{

struct Reading {
    const std::uint8_t* data;
    std::size_t left;
};

int read_bytes(GifFileType* gif, GifByteType* to, int count)
{
    auto* const from = static_cast<Reading*>(gif->UserData);
    const std::size_t n = std::min(from->left, static_cast<std::size_t>(count));
    std::memcpy(to, from->data, n);
    from->data += n;
    from->left -= n;
    return static_cast<int>(n);
}

int write_bytes(GifFileType* gif, const GifByteType* from, int count)
{
    auto* const to = static_cast<std::vector<std::uint8_t>*>(gif->UserData);
    to->insert(to->end(), from, from + count);
    return count;
}

constexpr char kScript[] = R"(
import io, sys
from PIL import Image
size = int(sys.stdin.buffer.readline())
data = sys.stdin.buffer.read(size)
image = Image.open(io.BytesIO(data))
image.load()
while True:
    what = sys.stdin.buffer.read(1)
    if what == b'd':
        Image.open(io.BytesIO(data)).load()
    elif what == b'e':
        image.save(io.BytesIO(), 'GIF', optimize=False)
    else:
        break
    sys.stdout.write('.')
    sys.stdout.flush()
)";

}  // namespace

std::vector<std::uint8_t> giflib_save(const GifPixels& picture)
{
    std::vector<std::uint8_t> file;
    file.reserve(picture.pixels.size() * 2);
    int error = 0;
    GifFileType* const gif = EGifOpen(&file, write_bytes, &error);
    ColorMapObject* const map = GifMakeMapObject(picture.colours, nullptr);
    for (int i = 0; i < picture.colours; ++i) {
        const auto v = static_cast<GifByteType>(i * 255 / (picture.colours - 1));
        map->Colors[i] = {v, v, v};
    }
    bool done = EGifPutScreenDesc(gif, picture.width, picture.height, 8, 0, map) == GIF_OK &&
                EGifPutImageDesc(gif, 0, 0, picture.width, picture.height, false, nullptr) == GIF_OK;
    std::vector<GifPixelType> row(static_cast<std::size_t>(picture.width));
    for (int y = 0; done && y < picture.height; ++y) {
        std::memcpy(row.data(), picture.pixels.data() + static_cast<std::size_t>(y) * row.size(), row.size());
        done = EGifPutLine(gif, row.data(), picture.width) == GIF_OK;
    }
    GifFreeMapObject(map);
    done = EGifCloseFile(gif, &error) == GIF_OK && done;
    return done ? file : std::vector<std::uint8_t>{};
}

bool giflib_load(const std::vector<std::uint8_t>& file)
{
    Reading reading = {.data = file.data(), .left = file.size()};
    int error = 0;
    GifFileType* const gif = DGifOpen(&reading, read_bytes, &error);
    const bool done = gif != nullptr && DGifSlurp(gif) == GIF_OK;
    return gif != nullptr && DGifCloseFile(gif, &error) == GIF_OK && done;
}

Pillow::Pillow(const std::vector<std::uint8_t>& file) : socket_(-1), process_(-1)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    std::string words[] = {"python3", "-c", kScript};
    char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    if (posix_spawn(&process_, "/usr/bin/python3", &actions, nullptr, arguments, environ) != 0) {
        process_ = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    socket_ = ends[0];
    const std::string size = std::to_string(file.size()) + "\n";
    std::size_t sent = 0;
    bool alive = process_ > 0 && send(socket_, size.data(), size.size(), MSG_NOSIGNAL) > 0;
    while (alive && sent < file.size()) {
        const ssize_t n = send(socket_, file.data() + sent, file.size() - sent, MSG_NOSIGNAL);
        alive = n > 0;
        sent += alive ? static_cast<std::size_t>(n) : 0;
    }
}

Pillow::~Pillow()
{
    close(socket_);
    if (process_ > 0) {
        waitpid(process_, nullptr, 0);
    }
}

bool Pillow::ask(char what) const
{
    char answer = 0;
    return send(socket_, &what, 1, MSG_NOSIGNAL) == 1 && recv(socket_, &answer, 1, 0) == 1 && answer == '.';
}

}  // namespace orv::bench
