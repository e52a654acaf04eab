#ifndef BASALT_SYSTEM_FILE_LOCATOR_H
#define BASALT_SYSTEM_FILE_LOCATOR_H

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <vector>

namespace basalt {

// The place of a file as name, extension and location, with the file name and the full file
// name kept up to date from them. '\' is the one separator of a path and '.' the one of an
// extension; a '/' is just a character here. It opens nothing and accepts any text.
// One object belongs to one thread at a time.
class BASALT_API FileLocator {
public:
  FileLocator();
  FileLocator(const KELPString& fullPath); // splits like setFullFileName
  FileLocator(const FileLocator& other);
  FileLocator& operator=(const FileLocator& other);
  ~FileLocator();

  // Views of the live fields: they see later changes.
  const KELPString& getName() const;
  const KELPString& getExtension() const;
  const KELPString& getFileName() const;
  const KELPString& getLocation() const;
  const KELPString& getFullFileName() const;

  // Taken as given: a dot stays in the name, and a leading dot in an extension gives a file
  // name with two dots in a row.
  void setName(const KELPString& newName);
  void setExtension(const KELPString& newExtension);
  // Splits at the first dot, so "a.b.c" is name "a" and extension "b.c". Text without a dot
  // replaces the name and keeps the extension. A '\' stays in the name; the location stays.
  void setFileName(const KELPString& newFileName);
  // Splits at the last '\' and then at the last dot after it, so "a.b.c" is name "a.b" and
  // extension "c", and a dot in a directory doesn't count.
  void setFullFileName(const KELPString& fullPath);
  // One trailing '\' is dropped: "C:\" becomes "C:".
  void setLocation(const KELPString& newLocation);
  // The directory of the loaded module of that name, or of the temporary files. 1 on success;
  // on 0 nothing changes.
  int setLocationToModule(const KELPString& moduleName);
  int setLocationToTemp();

  int isLocationSet() const;
  // 1 when the full file name matches at least one directory entry, which may be a
  // directory; the name and extension may hold the wildcards '*' and '?'.
  int exists() const;
  // Appends the bare names of the entries that the full file name matches, "." and ".."
  // included, in the order the platform gives them, and cut at their last dot when
  // stripExtensions isn't 0. Non-zero when at least one matched; out keeps what it held.
  int listFiles(std::vector<KELPString>& out, int stripExtensions) const;

private:
  void from_string(const KELPString& fullPath);
  int get_module_path(const KELPString& moduleName, KELPString& path) const;
  int get_temp_path(KELPString& path) const;
  void recalc();

  KELPString name;
  KELPString extension;
  KELPString fileName;
  KELPString location;
  KELPString fullFileName;
};

} // namespace basalt

#endif
