/* Words that releases take for settings and that no image says: protocols, modes, units, signs of pages. No names. */
#pragma once

#include <string_view>

namespace command {

/* Parted by white space. A word that nobody is known by may be added; one that could be a name may not. */
inline constexpr std::string_view language_words = R"(
config edit set unset next end delete rename move append
enable disable enabled disabled yes no on off none any all both auto automatic manual default custom standard
basic advanced simple extended full partial active passive inactive master slave standalone primary secondary
accept allow alert block continue deny drop erase ignore keep log monitor pass period permit redirect reset restore
critical emergency error warning notice notification information informational debug severe moderate urgent
high medium low highest lowest minimum maximum min max limit threshold count rate interval timeout retry times
open close opened closed up down left right inbound outbound in out r w rw read write readonly
ip ipv ipv4 ipv6 tcp udp icmp arp dhcp dns ntp snmp http https ftp ftps sftp tftp ssh ssl tls telnet smtp smtps pop imap
ldap ldaps radius kerberos ntlm saml oauth sso pki ocsp crl csr ca cn dn uid ou dc memberof samaccountname objectclass
wccp vrrp bgp ospf rip vlan vxlan bond bridge physical aggregate redundant loopback tunnel ether mac mtu vpn gre ipsec
lan wan dmz mgmt port ports interface ha cluster hb heartbeat virtual real local remote internal external server servers
sha sha1 sha224 sha256 sha384 sha512 md5 des des3 3des aes aes128 aes192 aes256 gcm cbc rc4 rsa dsa dss dh dhe edh ecdh
ecdhe ecdsa seed camellia chacha20 poly1305 anull enull null exp export v1 v2 v2c v3 v10 v11 v12 v13 sslv3 tls1
auth authn authpriv authnopriv noauthnopriv priv proto protocol protocols version encrypt encrypted decrypt plain clear
get post put head options trace connect patch propfind method methods request response header headers cookie cookies
url uri urls path query fragment host hostname referer user agent content type length encoding accept charset language
session parameter parameters argument arguments args body code status file files filename folder name value
text html xml json css javascript script pdf gif jpg jpeg png bmp tif tiff zip gzip tar rar bz2 doc docx xls xlsx ppt
pptx msi exe mp3 mp4 avi mpeg swf flash plain csv multipart form data urlencoded octet stream application image audio
video wsdl soap schema xsd asp aspx jsp php cgi session jsession phpsessid jsessionid apache iis tomcat nginx coldfusion
sql xss csrf injection attack attacks signature signatures scan scanner robot robots bot bots crawler crawlers virus
antivirus waf web site server service services policy policies rule rules profile profiles group groups pool pools
member members list lists table entry exception exceptions pattern patterns predefined predefine custom
round robin weighted least connection connections hash source destination src dst persistent persistence insert rewrite
day days daily week weeks weekly month months monthly year hour hours hourly minute minutes second seconds once recurring
mon tue wed thu fri sat sun monday tuesday wednesday thursday friday saturday sunday yesterday last now never always
kb mb gb k m g s ms h d kbyte mbyte gbyte byte bytes kilobyte megabyte gigabyte bit bits
english german french spanish japanese korean chinese latin utf utf8 iso ascii
true false and or not is eq ne gt lt ge le match matches regex regexp reg exp expression string strings contains begin
start from to first each of by with without the an
notify alertmail email mail syslog syslogd local0 local1 local2 local3 local4 local5 local6 local7 cef din a3 a4
offline online transparent proxy inspection reverse cut cutoff poweroff bypass fiber raid0 raid1 raid5 raid10
admin root super certificate certificates key keys private public secret password passwd pass token login logon logout
layer layer2 layer3 layer4 layer7 single multiple multi general special native common normal strict loose verbose
fast slow fastest smallest compress compression column width output input console baudrate
br div span form table tr td th h1 h2 h3 h4 p a b i u ul ol li img input label select option button title meta link style
class id href src alt rel action method align center border color font size width height padding margin background px pt
em nbsp amp quot doctype dtd w3c en hidden submit checkbox radio textarea disabled selected display block inline
opmode vdom ver build txt db dat bak old new sys domain conf gz cer csr crl pem data etc var log config
cert globalcert intmed xmlproxy certs mesh_connector index readme http_host http_url x forwarded for real www com net org edu gov int arpa mailto
pi pin pin
)";

} // namespace command
