/* What each stage callback does to files, in words for people. The callbacks themselves do it; a test holds the table
 * against the names of the stages. */
#include "explain/plan_effects.h"

namespace command {

const PossibleEffect file_effects[] = {
    {"_av_vir_file_copy",
     {},
     false,
     "copies the antivirus originals vir.orig, virext.orig (/data/etc) and libav.so.orig (/data/lib) to /var/log, "
     "twice "
     "each"},
    {"_change_local_certificate",
     {},
     false,
     "reads keys, certificates and passwords from /data/etc/cert/local/DOMAIN, and encrypts the keys"},
    {"_change_ca_certificate", {}, false, "reads certificates from /data/etc/cert/ca/DOMAIN"},
    {"_change_intermediate_certificate", {}, false, "reads certificates from /data/etc/cert/intmed/DOMAIN"},
    {"_change_crl_certificate", {}, false, "reads revocation lists from /data/etc/cert/crl/DOMAIN"},
    {"_change_local_admin_certificate",
     {},
     false,
     "reads keys, certificates and passwords from /data/etc/globalcert/local; keys stay clear"},
    {"_change_ca_admin_certificate", {}, false, "reads certificates from /data/etc/globalcert/ca"},
    {"_encrypt_local_certificate_key",
     {"system,certificate,local", "system,admin-certificate,local"},
     false,
     "encrypts the private keys that stand in the file"},
    {"_erase_data_analysis_from_web_protection_in_offline",
     {"waf,web-protection-profile,inline-protection", "waf,web-protection-profile,offline-protection"},
     false,
     "removes the folders /var/log/data_analysis, /var/log/data_analysis_adom and /var/log/da_pdfdir"},
    {"_remove_geo_db_dir", {}, true, "removes the folder /var/log/geo_db"},
    {"_remove_all_autolearn", {}, false, "removes the folder /var/log/autolearn_adom"},
    {"_cleanup_old_wvs",
     {},
     true,
     "removes what is in /data/etc/wvs, and the folders /var/log/wvs/db and /var/log/wvs/report"},
    {"_adjust_cert_conf", {}, true, "adds alternative names to the template /data/etc/cert/cert.conf"},
    {"_rename_msh_con_key_file",
     {},
     false,
     "renames the only key file in /etc/cert/mesh_connector after its connector"},
    {"_trim_xml_by_mode",
     {},
     false,
     "if the operation mode is offline protection or transparent inspection: removes the files in the subfolders of "
     "/data/etc/ws_security, /data/etc/cert/xml_client and /data/etc/cert/xml_server"},
    {"_cleanup_pre620_av_file",
     {},
     true,
     "removes vir, virext, libav.so and the last good copies of the first two from /var/log, and copies the originals "
     "there anew"},
    {},
};

const PossibleEffect *effect_of(std::string_view callback)
{
    for (const PossibleEffect *effect = file_effects; effect->callback; effect++)
        if (callback == effect->callback)
            return effect;
    return nullptr;
}

} // namespace command
