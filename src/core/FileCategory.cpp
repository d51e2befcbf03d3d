// The extension lists and the category lookup.
#include "core/FileCategory.h"

#include <algorithm>
#include <unordered_set>

namespace kelvora {

// clang-format off: the lists keep the shape they are written in.
const std::array<std::string_view, 53> packageExtension = {
    "bundle",        "plugin",      "pages",        "numbers",    "key",          "rtfd",
    "lpdf",          "dictionary",  "app",          "pkg",        "sparsebundle", "pvm",
    "vbox",          "vdm",         "vmx",          "vmwarevm",   "xcodeproj",    "rcproject",
    "xcworkspace",   "colorpicker", "download",     "webarchive", "kext",         "package",
    "ppp",           "action",      "sourcebundle", "definition", "clr",          "component",
    "menu",          "loginplugin", "ccl",          "dylib",      "monitorpanel", "framework",
    "prefpane",      "slidesaver",  "saver",        "caction",    "workflow",     "service",
    "dsclext",       "fs",          "iaplugin",     "jdk",        "syncschema",   "barilledriver",
    "photoslibrary", "osax",        "speechvoice",  "mdimporter", "woa",
};

const std::array<std::string_view, 73> pictureExtension = {
    "ani",  "anim", "apng",     "art",         "bmp",  "bpg",  "bsave",     "cal",     "cin",
    "cpc",  "cpt",  "dds ",     "dpx",         "ecw",  "exr",  "fits",      "flic",    "flif",
    "fpx",  "gif",  "hdri",     "hevc",        "icer", "icns", "ico",       "cur",     "ics",
    "ilbm", "jbig", "jbig2",    "jng",         "jpeg", "jpg",  "jpeg 2000", "jpeg-ls", "jpeg xr",
    "kra",  "mng",  "miff",     "nrrd",        "ora",  "pam",  "pbm",       "pgm",     "ppm",
    "pnm",  "pcx",  "pgf",      "pictor",      "png",  "psd",  "psb",       "psp",     "qtvr",
    "ras",  "rbe",  "jpeg-hdr", "logluv tiff", "sgi",  "tga",  "tiff",      "tiff",    "ep",
    "tiff", "it",   "ufo",      "ufp",         "wbmp", "webp", "xbm",       "xcf ",    "xpm",
    "xwd",
};

const std::array<std::string_view, 10> musicExtension = {
    "wav", "mp3", "ogg", "gsm", "dct", "flac", "au", "aiff", "vox", "raw",
};

const std::array<std::string_view, 42> movieExtension = {
    "webm", "mkv",  "flv", "vob", "ogv",  "ogg",  "drc", "gifv", "mng", "avi", "mov",
    "qt",   "wmv",  "yuv", "rm",  "rmvb", "asf",  "amv", "mp4",  "m4p", "m4v", "mpg",
    "mp2",  "mpeg", "mpe", "mpv", "mpg",  "mpeg", "mpe", "mpv",  "m2v", "svi", "WMF",
    "3gp",  "3g2",  "mxf", "roq", "nsv",  "f4v",  "f4p", "f4a",  "f4b",
};

const std::array<std::string_view, 40> archiveExtension = {
    "ar",      "cpio", "shar", "tar",  "lbr",      "bagIt", "waf", "bzip2", "gzip", "lzip",
    "lzma",    "lzop", "xz",   "sq",   "compress", "7z",    "ace", "arc",   "arj",  "b1",
    "cabinet", "cfs",  "cpt",  "dgca", "dmg",      "egg",   "kgb", "lha",   "lzx",  "mpq",
    "pea",     "rar",  "rzip", "sit",  "sqx",      "uda",   "xar", "zoo",   "zip",  "zpaq",
};

const std::array<std::string_view, 227> documentExtension = {
    "0",      "1st",   "600",    "602",   "abw",   "acl",     "afp",       "vami", "ans",
    "asc",    "aww",   "ccf",    "csv",   "cwk",   "dbk",     "doc",       "docm", "docx",
    "DOT",    "dotx",  "egtt",   "epub",  "ezw",   "fdx",     "ftm",       "ftx",  "gdox",
    "html",   "hwp",   "hwpml",  "log",   "lwp",   "mbp",     "md",        "me",   "mcw",
    "mobi",   "nb",    "nbp",    "meis",  "odm",   "odt",     "ott",       "omm",  "pages",
    "pap",    "pdax",  "pdf",    "quox",  "radix", "rtf",     "rpt",       "sdw",  "se",
    "stw",    "sxw",   "tex",    "info",  "txt",   "uof",     "uoml",      "via",  "wpd",
    "wpsv",   "wptv",  "wrd",    "wrf",   "wri",   "xhtml",   "xml",       "xps",  "epub",
    "oxps",   "pages", "pmd",    "eddx",  "mso",   "btw",     "lic",       "indd", "iwa",
    "p65",    "edoc",  "pub",    "pbix",  "prnx",  "imscc",   "prn",       "idml", "tns",
    "tmd",    "fdf",   "inp",    "bmpr",  "snp",   "ppt",     "rep",       "mpp",  "enw",
    "bdoc",   "note",  "ffdata", "lucy",  "prd",   "keynote", "prproject", "pptx", "ppdf",
    "xfdl",   "bwd",   "_pdf",   "vsd",   "snt",   "smmx",    "nb",        "cwk",  "fr3",
    "lwp",    "pez",   "xps",    "jfm",   "emm",   "lvm",     "dotx",      "ods",  "dbx",
    "wpostx", "mdj",   "xmind",  "hwp",   "wri",   "mht",     "notebook",  "wpt",  "ps",
    "pwi",    "sam",   "xdw",    "gph",   "aww",   "btd",     "cap",       "mmap", "fmx",
    "x3g",    "pdi",   "flw",    "opx",   "pm5",   "pmx",     "tex",       "pps",  "oplx",
    "zdp",    "chm",   "rtf",    "dbm",   "flo",   "ink",     "jw",        "jnt",  "rwf",
    "dot",    "indt",  "cpy",    "tpl",   "pzfx",  "mpr",     "xlr",       "pptm", "xsn",
    "smm",    "grv",   "dotm",   "vwi",   "abv",   "mvb",     "mcd",       "rmd",  "scd",
    "vbd",    "rdlx",  "gra",    "z7r",   "odt",   "wps",     "pt",        "far",  "shs",
    "ole2",   "fpage", "_docx",  "xlc_",  "odc",   "sdw",     "pdfxml",    "ppta", "ppj",
    "hnc",    "not",   "ppsm",   "odm",   "otg",   "xsf",     "sdd",       "emlx", "msdvd",
    "hdt",    "book",  "fax",    "msg",   "msw",   "w6w",     "pdf",       "pm6",  "pptv",
    "potx",   "pxt",   "xlc",    "accdp", "adn",   "adp",     "ept",       "mpc",  "mpp_",
    "pub",    "sff",
};

// clang-format on

namespace {
template <std::size_t N>
bool contains(const std::array<std::string_view, N>& list, std::string_view ext) {
    return std::find(list.begin(), list.end(), ext) != list.end();
}
}  // namespace

FileCategory categoryForExtension(std::string_view ext) {
    if (contains(pictureExtension, ext)) return FileCategory::Pictures;
    if (contains(musicExtension, ext)) return FileCategory::Music;
    if (contains(movieExtension, ext)) return FileCategory::Movies;
    if (contains(archiveExtension, ext)) return FileCategory::Archives;
    if (contains(documentExtension, ext)) return FileCategory::Documents;
    return FileCategory::Other;
}

bool isPackageExtension(std::string_view ext) {
    // Asked of every file a search meets: one hashed look-up rather than a comparison with
    // each of the names.
    static const std::unordered_set<std::string_view> packages(packageExtension.begin(),
                                                               packageExtension.end());
    return packages.contains(ext);
}

}  // namespace kelvora
