// The plug-in's texts.
#pragma once

namespace orv::iptv {

/// Its constructor adds every text of the plug-in to the host's resources.
class IptvResourceRegisterer {
  public:
    IptvResourceRegisterer();
};

}  // namespace orv::iptv
