#ifndef BASALT_SYSTEM_FILE_LOCATOR_H
#define BASALT_SYSTEM_FILE_LOCATOR_H

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

namespace basalt {

// The place of a file as name, extension and location, with the file name and the full file
// name kept up to date from them. '\' separates directories, '.' the extension.
class BASALT_API FileLocator {
public:
  FileLocator() = default;
  FileLocator(const KELPString& fullPath);

  const KELPString& getName() const { return name; }
  const KELPString& getExtension() const { return extension; }
  const KELPString& getFileName() const { return fileName; }
  const KELPString& getLocation() const { return location; }
  const KELPString& getFullFileName() const { return fullFileName; }

  void setName(const KELPString& text);
  void setExtension(const KELPString& text);
  // Splits at the first dot; without one, the extension stays.
  void setFileName(const KELPString& text);
  void setFullFileName(const KELPString& text);
  // Drops one trailing '\'.
  void setLocation(const KELPString& text);
  int isLocationSet() const { return location.empty() ? 0 : 1; }

private:
  void from_string(const KELPString& text);
  void recalc();

  KELPString name;
  KELPString extension;
  KELPString fileName;
  KELPString location;
  KELPString fullFileName;
};

} // namespace basalt

#endif
