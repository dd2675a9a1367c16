# Certificates and trust, and the panel that asks the user.
target_sources(lum_platform PRIVATE
  linux/sec_certificate.cpp
  linux/sec_certificateref.mm
  linux/sec_chain.cpp
  linux/sec_names.mm
  linux/sec_policyref.mm
  linux/sec_trustpanel.mm
  linux/sec_trustpanelview.mm
  linux/sec_trustref.mm
  linux/sec_truststore.mm)
