// Writing settings into the stack's files.
#include <sys/stat.h>

#include <chrono>
#include <cstdio>

#include "config/file_content.h"
#include "config/iscsid_conf.h"
#include "config/request.h"
#include "config/rewritten_settings.h"
#include "config/temporary_file.h"
#include "config/writers_turn.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/open_initiator_functions.h"

using namespace opinit;

namespace {

constexpr int file_failure = -1;

/// The settings file of every distribution is smaller.
constexpr std::size_t usual_size = 16384;

constexpr std::chrono::seconds longest_wait{10};

int report_unwritable(const char* path) {
    std::fprintf(stderr, "ERROR: unable to write %s.\n", path);
    return file_failure;
}

/// Whether the file holds all of `text`, by what it gives back.
bool holds(const char* path, std::string_view text) {
    const File file{path, Access::read};
    if (!file) return false;
    const auto content = read_content(file, text.size(), text.size());
    return content && content->view() == text;
}

/// The new text passes through the temporary file: only what another look finds there complete goes on into
/// iscsid.conf, which is left alone until then.
int rewrite_settings(const Request& request, const File& settings) {
    const TemporaryFile temporary;
    if (!temporary) return report_unwritable(TemporaryFile::path);
    if (!settings) return file_failure;
    const auto old = read_content(settings, usual_size);
    if (!old) return file_failure;
    const SecretText text = rewritten_settings(old->view(), request);
    if (!fill_new_file(temporary.file(), text.view())) return report_unwritable(TemporaryFile::path);
    if (!holds(TemporaryFile::path, text.view())) {
        std::fputs("ERROR: unable to read tmp file.\n", stderr);
        return file_failure;
    }
    return replace_content(settings, old->view(), text.view()) ? 0 : report_unwritable(iscsid_conf);
}

/// Whether it is still the file at that path, and not one that was replaced by another of its name.
bool stands_at(const char* path, const File& file) {
    struct stat ours, there;
    return ::fstat(file.descriptor(), &ours) == 0 && ::stat(path, &there) == 0 &&
           ours.st_ino == there.st_ino && ours.st_dev == there.st_dev;
}

}  // namespace

int _SetProperty(int, _iSCSI_Property* properties) {
    if (properties == nullptr) return file_failure;
    return without_exceptions(file_failure, [properties] {
        const auto deadline = WritersTurn::Clock::now() + longest_wait;
        for (;;) {
            // One turn for the whole call: it covers the initiator name's file, and the temporary file, which
            // has the same name for every writer, from before it is made until after it is removed.
            const File settings{iscsid_conf, Access::read_and_write};
            const WritersTurn turn{settings, deadline};
            if (!turn) return report_unwritable(iscsid_conf);
            // Meanwhile an editor may have put another file in its place.
            if (turn.came_late() && !stands_at(iscsid_conf, settings)) continue;
            Request request;
            if (const int refusal = request.accept(properties)) return refusal;
            return rewrite_settings(request, settings);
        }
    });
}
