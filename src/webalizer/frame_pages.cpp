#include "webalizer/frame_pages.h"

#include "util/bounded_format.h"
#include "util/descriptors.h"
#include "util/directory_walk.h"
#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"
#include "util/unchanged.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{

const char index_page[] = R"html(<html>
<head>
<meta http-equiv="Content-Type" content="text/html; charset=iso-8859-1">
<title>AWStats for domain</title>
</head>

<frameset rows="30,*" cols="*" framespacing="0" frameborder="no" border="0">
  <frame src="nav.html" name="topFrame" scrolling="No" noresize="noresize" id="topFrame" title="topFrame">
  <frame src="current/index.html" name="mainFrame" id="mainFrame" title="mainFrame">
</frameset>
<noframes>
<body>
</body>
</noframes>
</html>
)html";
constexpr std::size_t index_page_size = sizeof index_page - 1;
static_assert(index_page_size == 457, "the frameset is fixed");

const char nav_head[] = R"html(<html>
<head>
<meta http-equiv="Content-Type" content="text/html; charset=iso-8859-1">
<title>Navigation</title>

<style type="text/css">
<!--
body {
	margin: 0;
	padding: 4px;
	font-family: Tahoma, Verdana, Arial, Helvetica, sans-serif;
	font-size: 12px;
	background-color: #6E89DD;
	color: #FFFFFF;
	text-align:center;
	font-weight:bold;
}

input, select {
	font-family: Tahoma, Verdana, Arial, Helvetica, sans-serif;
	font-size: 12px;
	font-weight:normal;
}

-->
</style>

<script language="JavaScript">
<!-- hide
function change_page()
{
    top.mainFrame.location= document.periodForm.periodSelect.value + '/index.html';
}
// -->
</script>

</head>

<body>
<form name="periodForm" action="" method="get">

Select period
<select name="periodSelect" ONCHANGE="change_page()">
<option value="current">Current</option>
)html";
static_assert(sizeof nav_head - 1 == 820, "the navigation head is fixed");

const char nav_foot[] = R"html(</select>

</form>
</body>
</html>
)html";

// Removes a link or a FIFO at the path of a page: the page replaces it. A path that fills its buffer
// may have been cut and then names something else. Leaves errno alone.
void make_way(const std::string &path)
{
    const ErrnoGuard kept;
    struct stat status = {};
    if (path.size() < bounded_buffer_size - 1 && ::lstat(path.c_str(), &status) == 0 &&
        (S_ISLNK(status.st_mode) || S_ISFIFO(status.st_mode))) {
        ::unlink(path.c_str());
    }
}

// Opens a page, emptied. Whatever is put at its name meanwhile, neither the file that a link names
// is written, nor does a FIFO hold the run.
Descriptor open_page(const std::string &path, mode_t mode)
{
    make_way(path);
    return Descriptor(::open(
        path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
}

void report_write_failure(const std::string &path)
{
    report(0, 0, "Unable to write to file %s", path.c_str());
}

std::string option_line(const std::string &period)
{
    return "<option value='" + period + "'>" + period + "</option>\n";
}

// Adds the names of the directory's subdirectories. Returns whether all could be told; a file
// system need not tell the kinds of its entries.
bool add_subdirectories(const std::string &directory, std::vector<std::string> &names)
{
    const OwnedListing listing(::opendir(directory.c_str()));
    const dirent *entry = nullptr;
    errno = 0;
    while (listing != nullptr && (entry = ::readdir(listing.get())) != nullptr) {
        if (entry->d_type == DT_UNKNOWN) {
            return false;
        }
        if (entry->d_type == DT_DIR && !is_dot_or_dot_dot(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    return listing != nullptr && errno == 0;
}

// Whether the page at the path already lists what the directory holds. What can't be told is left
// to the writing of the page, which reports it. Leaves errno alone.
bool is_listed(const std::string &statistics_dir, const std::string &path)
{
    const ErrnoGuard kept;
    std::vector<std::string> periods;
    if (!add_subdirectories(statistics_dir, periods)) {
        return false;
    }
    std::sort(periods.begin(), periods.end());
    std::string page = nav_head;
    for (const std::string &period : periods) {
        page += option_line(period);
    }
    page += nav_foot;
    return file_holds(path.c_str(), page.data(), page.size());
}

bool write_options(std::FILE *page, const std::string &path, std::vector<std::string> &periods)
{
    std::sort(periods.begin(), periods.end());
    for (const std::string &period : periods) {
        if (std::fputs(option_line(period).c_str(), page) == EOF) {
            report_write_failure(path);
            return false;
        }
    }
    return true;
}

// Writes an entry for each subdirectory. Returns whether the page can be completed.
bool list_periods(std::FILE *page, const std::string &path, const std::string &statistics_dir)
{
    std::vector<std::string> periods;
    const EntryVisitor collect = [&](const char *name, const struct stat &status) {
        if (S_ISDIR(status.st_mode) && !is_dot_or_dot_dot(name)) {
            periods.emplace_back(name);
        }
        return true;
    };
    const ListingEnd write = [&] {
        return write_options(page, path, periods);
    };
    return walk_directory(statistics_dir.c_str(), FinalLink::follow, 0, collect, write);
}

} // namespace

bool write_frame_pages(const std::string &statistics_dir)
{
    const bool has_index =
        write_index_page(format_bounded("%s/index.html", statistics_dir.c_str()));
    const bool has_nav =
        write_nav_page(statistics_dir, format_bounded("%s/nav.html", statistics_dir.c_str()));
    return has_index && has_nav;
}

bool write_index_page(const std::string &path)
{
    if (file_holds(path.c_str(), index_page, index_page_size)) {
        return true;
    }
    Descriptor file = open_page(path, 0644);
    if (!file.is_open()) {
        report(0, 0, "Unable to open file %s: %s", path.c_str(), std::strerror(errno));
        return false;
    }
    const ssize_t written = ::write(file.get(), index_page, index_page_size);
    if (written == -1) {
        report(0, 0, "Unable to write to file %s: %s", path.c_str(), std::strerror(errno));
        file.release();
    } else if (static_cast<std::size_t>(written) < index_page_size) {
        report(0, 0, "Unable to write %zd bytes to file %s: %zd bytes written",
               static_cast<ssize_t>(index_page_size), path.c_str(), written);
        file.release();
    } else if (file.close() != 0) {
        report(0, 0, "Unable to close file %s: %s", path.c_str(), std::strerror(errno));
    } else {
        return true;
    }
    return false;
}

bool write_nav_page(const std::string &statistics_dir, const std::string &path)
{
    if (is_listed(statistics_dir, path)) {
        return true;
    }
    Descriptor file = open_page(path, 0666);
    OwnedFile page(file.is_open() ? ::fdopen(file.get(), "w") : nullptr);
    if (page == nullptr) {
        report(0, 0, "Unable to open file %s", path.c_str());
        return false;
    }
    file.release(); // closed with the stream
    if (std::fputs(nav_head, page.get()) == EOF) {
        report_write_failure(path);
        return false;
    }
    struct stat status = {};
    if (::lstat(statistics_dir.c_str(), &status) != 0 && errno == ENOENT) {
        report(0, 0, "Unable to get entry %s: %s\n", statistics_dir.c_str(), std::strerror(ENOENT));
        return false;
    }
    if (!list_periods(page.get(), path, statistics_dir)) {
        return false;
    }
    const bool written = std::fputs(nav_foot, page.get()) != EOF;
    if (std::fclose(page.release()) != 0 || !written) {
        report_write_failure(path);
        return false;
    }
    return true;
}
